#pragma once

#include <cstddef>

// Shortest decimal text of 32-bit floats and reading it back, for the text
// vectors in the library file: millions of them per file, where the general
// conversions of the standard library cost more than everything else.
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

enum class ReadStatus { ok, notANumber, outOfRange };

struct ReadResult
{
    const char *end; // just after the number
    ReadStatus status;
};

// Reads the JSON number that starts at begin (no leading blanks, stopping
// at the first byte that cannot continue it) into the nearest float, ties to
// even. Values beyond the float range, and non-zero values so small that
// they would read as zero, are outOfRange.
ReadResult read(const char *begin, const char *end, float &out);

} // namespace FloatText
