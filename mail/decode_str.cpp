// decode_str: the encoded words of a text decoded into ISO-2022 form, by the
// rules of RFC 2047 (white space between words dropped, neighbouring words of
// one charset joined before conversion, "_" of the Q form a blank). fromANY
// uses it for texts detected as code 6 and converts the result further.
#include <strings.h>

#include <memory>
#include <string>

#include "mail/c_buffer.h"
#include "mail/charset.h"
#include "mail/encoded_word.h"

namespace {

bool IsLinearWhite(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The decoded bytes of neighbouring words of one charset.
struct PendingRun {
    std::string charset;
    std::string bytes;
    bool open = false;
};

// The run's bytes in ISO-2022 form: Shift_JIS and EUC-JP are converted, the
// ISO-2022 forms and unknown charsets kept.
void Flush(PendingRun &run, std::string &out)
{
    if (!run.open)
        return;
    const int code = EncodedWordCharsetCode(run.charset);
    if (code == CHARSET_SJIS || code == CHARSET_EUC) {
        std::unique_ptr<char, CBufferFree> jis(toJIS(run.bytes.c_str(), code));
        out += jis ? jis.get() : run.bytes.c_str();
    } else {
        out += run.bytes;
    }
    run = PendingRun{};
}

} // namespace

char *decode_str(const char *text)
{
    if (!text)
        return nullptr;
    std::string out;
    PendingRun run;
    std::string gap;   // white space after a word, dropped if a word follows
    for (const char *p = text; *p;) {
        EncodedWord word;
        std::string bytes;
        if (*p == '=' && ParseEncodedWord(p, word) && DecodeEncodedWord(word, true, bytes)) {
            if (run.open && strcasecmp(run.charset.c_str(), word.charset.c_str()) != 0)
                Flush(run, out);
            if (!run.open) {
                run.open = true;
                run.charset = word.charset;
            }
            run.bytes += bytes;
            gap.clear();
            p += word.length;
            continue;
        }
        if (run.open && IsLinearWhite(*p)) {
            gap += *p++;
            continue;
        }
        Flush(run, out);
        out += gap;
        gap.clear();
        // A word that failed to decode is copied whole.
        const size_t n = word.length ? word.length : 1;
        out.append(p, n);
        p += n;
    }
    Flush(run, out);
    out += gap;
    return MallocCopy(out);
}
