#pragma once

#include <cstddef>

// The inside of JSON strings in the library file, between UTF-16 text and
// UTF-8 bytes, sixteen bytes at a time where the text is plain ASCII: page
// texts are most of the file.
namespace JsonStringCodec {

// Writes the units [begin, end) as UTF-8 with the escapes of the library
// file: '"', '\\' and '/' after a backslash, control characters as \n, \t,
// \r, \b, \f or \u00xx; a lone surrogate becomes U+FFFD. Needs room for six
// bytes per unit; returns the end.
char *writeEscaped(char *out, const char16_t *begin, const char16_t *end);

// The closing quote of a string whose inside starts at begin (escaped
// characters skipped), or nullptr when there is none before end.
const char *closingQuote(const char *begin, const char *end);

// Decodes the inside [begin, end) of a string, end at its closing quote,
// into UTF-16 at out, which needs room for end - begin units. Returns the
// end of the units written, or nullptr when the bytes are not valid UTF-8,
// hold a control character or a bad escape (the caller says which).
char16_t *decode(char16_t *out, const char *begin, const char *end);

} // namespace JsonStringCodec
