// The MIME walk on hostile shapes: does its cost grow linearly with the
// mail, whatever the mail's shape?
//
//   bench_mail_hostile_main
//
// Each shape is generated at two sizes, the second twice the first, and
// walked with GetAttachmentInfo as the rule scanner calls it (a MEMBUF and
// a text file). For each size the CPU time per MB of mail is printed (best
// of three runs, as the machine is shared), and then the ratio of the
// larger size's time per MB to the smaller's, which is the baseline: near
// 1.0 the cost is linear; a cost growing with the square of the size would
// show 2.0.
//
// Shapes: header lines (50 000 / 100 000), nested multiparts (5 000 /
// 10 000, closed again), sibling parts (10 000 / 20 000), one body line
// (10 / 20 MB), one Japanese text line in base64 and in quoted-printable
// lines (10 / 20 MB; the walk holds an unfinished text line, so this is
// where holding must stay bounded), and one name parameter folded over
// 50 000 / 100 000 lines.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "bench/bench_timing.h"
#include "mail/charset.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "mail/transfer_codecs.h"
#include "ov/contscan.h"

namespace {

std::string ManyHeaders(int lines)
{
    std::string mail = "From: a@example.com\nSubject: headers\n";
    for (int i = 0; i < lines; ++i)
        mail += "X-Header-" + std::to_string(i) + ": some value of a header line\n";
    return mail + "\nbody\n";
}

std::string NestedParts(int depth)
{
    std::string mail = "From: a@example.com\nMIME-Version: 1.0\n";
    for (int i = 0; i < depth; ++i)
        mail += "Content-Type: multipart/mixed; boundary=\"n" + std::to_string(i) + "\"\n\n--n" +
                std::to_string(i) + "\n";
    mail += "Content-Type: application/pdf; name=deep.pdf\n\nJVBERi0xLjQK\n";
    for (int i = depth - 1; i >= 0; --i)
        mail += "--n" + std::to_string(i) + "--\n";
    return mail;
}

std::string SiblingParts(int parts)
{
    std::string mail = "From: a@example.com\nMIME-Version: 1.0\n"
                       "Content-Type: multipart/mixed; boundary=\"s\"\n\n";
    for (int i = 0; i < parts; ++i)
        mail += "--s\nContent-Type: image/png; name=\"p" + std::to_string(i) +
                ".png\"\nContent-Transfer-Encoding: base64\n\niVBORw0KGgo=\n";
    return mail + "--s--\n";
}

std::string LongLine(int megabytes)
{
    return "From: a@example.com\nSubject: one line\n\n" + std::string(size_t(megabytes) << 20, 'w') +
           "\n";
}

// One line of Japanese text (EUC-JP) of about `bytes` bytes, ending in CR LF.
std::string JapaneseLine(size_t bytes)
{
    const std::string unit = "\xb2\xf1\xb5\xc4\xa4\xce\xbb\xf1\xce\xc1 abc\xa1\xa2";   // 会議の資料 abc、
    std::string text;
    text.reserve(bytes + unit.size());
    while (text.size() < bytes)
        text += unit;
    return text + "\r\n";
}

std::string Owned(char *bytes, int length)
{
    std::string out = bytes ? std::string(bytes, size_t(length)) : std::string();
    std::free(bytes);
    return out;
}

// About `megabytes` MB of body: one ISO-2022-JP line in base64 lines.
std::string Base64JapaneseLine(int megabytes)
{
    char *jis = toJIS(JapaneseLine((size_t(megabytes) << 20) * 3 / 4).c_str(), CHARSET_EUC);
    std::string text = jis ? jis : "";
    std::free(jis);
    int length = 0;
    char *encoded = to_base64(text.data(), int(text.size()), &length);
    return "From: a@example.com\nContent-Type: text/plain; charset=iso-2022-jp\n"
           "Content-Transfer-Encoding: base64\n\n" + Owned(encoded, length);
}

// About `megabytes` MB of body: one Shift_JIS line in quoted-printable lines.
std::string QpJapaneseLine(int megabytes)
{
    char *jis = toJIS(JapaneseLine((size_t(megabytes) << 20) / 3).c_str(), CHARSET_EUC);
    char *sjis = jis ? fromJIS(jis, CHARSET_SJIS) : nullptr;
    std::string text = sjis ? sjis : "";
    std::free(jis);
    std::free(sjis);
    int length = 0;
    char *encoded = to_qprint(text.data(), int(text.size()), &length);
    return "From: a@example.com\nContent-Type: text/plain; charset=shift_jis\n"
           "Content-Transfer-Encoding: quoted-printable\n\n" + Owned(encoded, length);
}

std::string FoldedName(int lines)
{
    std::string mail = "From: a@example.com\nMIME-Version: 1.0\n"
                       "Content-Type: application/pdf; name=\"start";
    for (int i = 0; i < lines; ++i)
        mail += "\n\tpart-of-a-long-name-" + std::to_string(i);
    return mail + ".pdf\"\n\nJVBERi0xLjQK\n";
}

// Walks one generated mail; CPU seconds, best of three.
double WalkOne(const std::string &dir, const std::string &mail)
{
    std::string path = dir + "/hostile";
    FILE *out = std::fopen(path.c_str(), "wb");
    if (!out)
        return 0;
    bool written = std::fwrite(mail.data(), 1, mail.size(), out) == mail.size();
    if (std::fclose(out) != 0 || !written)
        return 0;
    auto text = std::make_unique<MEMBUF>();
    std::string textPath = dir + "/text";
    double seconds = BestOf(3, [&] {
        CMailInfo info;
        GetAttachmentInfo(path.c_str(), text.get(), textPath.c_str(), &info);
    });
    std::remove(path.c_str());
    std::remove(textPath.c_str());
    return seconds;
}

} // namespace

int main()
{
    char pattern[] = "/tmp/ov_hostile_XXXXXX";
    if (!mkdtemp(pattern)) {
        std::fprintf(stderr, "cannot make a scratch directory\n");
        return 1;
    }
    const std::string dir = pattern;
    struct Shape {
        const char *name;
        std::function<std::string(int)> make;
        int size;   // the smaller size; the larger is twice it
    } shapes[] = {
        {"header lines", ManyHeaders, 50000},
        {"nested parts", NestedParts, 5000},
        {"sibling parts", SiblingParts, 10000},
        {"MB in one line", LongLine, 10},
        {"MB base64 JIS line", Base64JapaneseLine, 10},
        {"MB QP SJIS line", QpJapaneseLine, 10},
        {"folded name lines", FoldedName, 50000},
    };
    std::printf("%-20s %17s %10s %10s %8s\n", "shape", "sizes", "ms/MB", "ms/MB",
                "ratio");
    for (const Shape &shape : shapes) {
        std::string small = shape.make(shape.size);
        std::string large = shape.make(shape.size * 2);
        double smallPerMb = WalkOne(dir, small) * 1e3 / (double(small.size()) / (1 << 20));
        double largePerMb = WalkOne(dir, large) * 1e3 / (double(large.size()) / (1 << 20));
        std::printf("%-20s %8d / %6d %10.2f %10.2f %8.2f\n", shape.name, shape.size,
                    shape.size * 2, smallPerMb, largePerMb, largePerMb / smallPerMb);
    }
    std::printf("ratio: ms/MB at the larger size over ms/MB at the smaller (baseline); "
                "1.0 is linear\n");
    rmdir(dir.c_str());
    return 0;
}
