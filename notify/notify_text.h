// Texts of a notification mail in the host language.
//
//   IsNonAscii(subject)           true when the text needs a conversion
//   NotifyHeaderValue(from)       "=?ISO-2022-JP?B?...?=" for Japanese text,
//                                 the text itself when it is ASCII
//   NotifyBodyText(policy)        the text in the host language's 7-bit
//                                 ISO-2022 form, or the text itself
//   NotifyBodyCharset()           the MIME charset name of that form
//
// A conversion that yields nothing falls back to the raw text.
#pragma once

#include <string>

// AutoDetect finds a code other than plain (multi-byte text, escapes or
// encoded words); a null text is plain.
bool IsNonAscii(const char *text);

// A header value: non-ASCII text converted to ISO-2022 for the host language
// and written as RFC 1342 encoded words.
std::string NotifyHeaderValue(const char *text);

// A line of the text part: non-ASCII text converted to ISO-2022 for the host
// language.
std::string NotifyBodyText(const char *text);

// "iso-2022-jp" (Japanese and other hosts), "iso-2022-cn" (Chinese) or
// "iso-2022-cn-ext" (Taiwan): the charset of NotifyBodyText's output.
const char *NotifyBodyCharset();
