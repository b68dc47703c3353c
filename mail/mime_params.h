// MimeParamReader: the parameters of a Content-Type or Content-Disposition
// header as a mail client reads them, fed piece by piece as the header's
// lines arrive.
//
//   MimeParamReader params({"boundary", "charset", "name"});
//   params.Feed(afterColon, n);          // the first line, after the colon
//   params.Feed(continuation, m);        // each folded line, line end removed
//   params.Finish();
//   if (const MimeParam *b = params.Find("boundary")) use(b->value);
//
// Grammar (RFC 2045 with RFC 2231, as clients read it): the media type runs
// to the first ";"; each parameter is a name (blanks around it and the "="
// are allowed, case does not matter), then a quoted string (a backslash
// takes the next character as it is; an unclosed string runs to the end of
// the header) or a token ending at a blank or ";"; anything after a value up
// to the next ";" is dropped. "boundary=" inside another parameter's quoted
// value is therefore part of that value.
//
// RFC 2231: "name*=charset'lang'text" and the sections "name*0", "name*0*",
// "name*1"... (in any order, joined from 0 up to the first missing one);
// sections with a trailing "*" are percent-decoded and the first of them may
// carry the charset. Whichever form of a name comes first wins, and of
// several plain occurrences the first: the choices of the reference client.
//
// Only the wanted names are kept; every value is cut at kMaxValue bytes, so
// memory stays bounded whatever the header holds, and each byte is looked
// at once.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

struct MimeParam {
    std::string value;      // unquoted; RFC 2231 text percent-decoded
    std::string charset;    // RFC 2231 charset, "" for none
    bool extended = false;  // the value came in the RFC 2231 form
    int plainCount = 0;     // occurrences in the plain form
    bool anyExtended = false;   // an RFC 2231 form occurred at all
};

class MimeParamReader {
public:
    static constexpr size_t kMaxValue = 4095;
    static constexpr int kMaxSection = 999;

    explicit MimeParamReader(std::initializer_list<const char *> wanted);

    // Forgets everything read so far (the wanted names stay).
    void Reset();
    void Feed(const char *text, size_t length);
    void Finish();
    // The wanted parameter when it occurred (after Finish), else null.
    const MimeParam *Find(const char *name) const;

private:
    struct Collected {
        std::string name;
        bool present = false;
        bool plainFirst = false;
        std::string plain;
        std::map<int, std::pair<std::string, bool>> sections;   // text, encoded
        size_t sectionBytes = 0;
        MimeParam result;
    };
    enum State { kType, kName, kValueStart, kToken, kQuoted, kQuotedEscape, kJunk };

    void EndName();
    void EndValue();
    void Append(char c);
    void Assemble(Collected &param);

    std::vector<Collected> m_params;
    State m_state = kType;
    std::string m_name;     // lower case, without blanks
    std::string m_value;
    bool m_bNameTooLong = false;
    bool m_bHaveName = false;
    bool m_bFinished = false;
};

// The media type of a "Content-Type:" line as a client reads it: after the
// colon and any blanks, up to a blank or ";", in lower case.
std::string MediaTypeOf(const char *line);
