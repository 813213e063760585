#pragma once

#include <cstddef>

// Shortest decimal text of 32-bit floats, for the text vectors in the library
// file: millions of them per file, where std::to_chars takes two thirds
// longer. (Reading them back, std::from_chars is as quick as a hand-made
// reader was.)
namespace FloatText {

// Room write() needs: the longest text is 15 bytes ("-1.17549435e-38"),
// and it stores whole blocks of digits past the end of shorter ones.
inline constexpr std::size_t kMaxLength = 32;

// Writes the shortest text that reads back to exactly f, in the form
// std::to_chars(out, end, f) chooses (fixed or scientific, whichever is
// shorter), and returns the end. f must be finite; out needs kMaxLength bytes.
char *write(char *out, float f);

// Writes the floats of [begin, end) as write() does, separated by commas,
// and returns the end; nullptr at a value that is not finite. out needs
// kMaxLength + 1 bytes per float.
char *writeList(char *out, const float *begin, const float *end);

} // namespace FloatText
