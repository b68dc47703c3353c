// Texts of TNEF names: 8-bit strings end at their first NUL and keep their
// bytes (the sender's code page), Unicode strings (UTF-16LE) become UTF-8,
// and names are cut to a buffer without splitting a UTF-8 sequence.
#pragma once

#include <cstddef>
#include <string>

// The bytes up to the first NUL.
std::string TnefString8(const std::string &bytes);
// UTF-16LE up to the first NUL unit as UTF-8; a lone surrogate becomes
// U+FFFD, an odd last byte is dropped.
std::string TnefUnicodeToUtf8(const std::string &bytes);
// Copies at most size-1 bytes of text into out and terminates it; a cut
// that would split a multi-byte UTF-8 sequence cuts before it.
void TnefCopyName(char *out, size_t size, const std::string &text);
