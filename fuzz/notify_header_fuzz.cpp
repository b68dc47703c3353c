// Fuzzes the parts of a notification that read mail text: the header part
// cut from a blocked mail (header lines, encoded words decoded for the host
// language) and the conversion of header values and body texts. The first
// byte picks the host language and code; the rest is the blocked mail.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "mail/charset.h"
#include "notify/notify_attachment.h"
#include "notify/notify_text.h"
#include "fuzz_files.h"

namespace {

std::string read_all(FILE *file)
{
    std::string text;
    std::rewind(file);
    char block[4096];
    size_t got;
    while ((got = std::fread(block, 1, sizeof block, file)) > 0)
        text.append(block, got);
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    _language = data[0] & 3;
    _kanji = (data[0] >> 2) & 1 ? CHARSET_SJIS : CHARSET_EUC;
    const std::string mail(reinterpret_cast<const char *>(data) + 1, size - 1);

    FuzzTempFile blocked("notify");
    fuzz_write_file(blocked.path, mail.data(), mail.size());
    FILE *out = std::tmpfile();
    if (!out)
        return 0;
    if (!WriteNotifyAttachment(out, blocked.path, 1, "B"))
        std::abort();
    const std::string part = read_all(out);
    std::fclose(out);
    const std::string end = "\r\n--B--\r\n";
    if (part.compare(0, 4, "--B\r") != 0 || part.size() < end.size() ||
        part.compare(part.size() - end.size(), end.size(), end) != 0)
        std::abort();

    const std::string text = mail.substr(0, mail.find('\0'));
    NotifyHeaderValue(text.c_str());
    NotifyBodyText(text.c_str());
    return 0;
}
