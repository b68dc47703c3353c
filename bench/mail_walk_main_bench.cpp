// MIME walk throughput beside GMime 3 and beside reading the bytes.
//
//   bench_mail_walk_main [MAILS] [corpus|single]   (default 2000, both)
//
// Writes a corpus of generated mails of 20 to 70 KB into a scratch
// directory under $TMPDIR (default /tmp; on tmpfs the walk's text file costs
// no disk writes, like GMime's decoded output, which goes to a null stream),
// a quarter of each kind: plain ASCII text, quoted-printable
// text, multipart mails with base64 attachments, and Japanese mails with
// ISO-2022-JP subjects (encoded words) and bodies. Then, in the same run,
// times over the whole corpus:
//   read   open, read and close every file (the floor);
//   walk   GetAttachmentInfo on every file with a MEMBUF and a text file,
//          as the rule scanner calls it;
//   gmime  (when built with GMime 3) parse every file into a message,
//          decode its subject, and decode every leaf part: the text of text
//          parts converted to UTF-8, the content of the others written
//          through their transfer decoding into a null stream.
// Prints MB/s and the ratios walk/read and walk/gmime; each figure is the
// best of three runs in CPU time, since the machine is shared.
//
// Then single mails of 10 KB, 1 MB, 10 MB and 50 MB (multipart: plain,
// quoted-printable and Japanese text parts and a base64 attachment, a
// quarter each) and one mail whose body is a single 20 MB line, each timed
// alone the same way and printed as walk/gmime.
//
// Hostile shapes (many header lines, deep nesting, long lines) have their
// own benchmark, bench_mail_hostile_main.
//
// Building the GMime side needs the flags of `pkg-config --cflags --libs
// gmime-3.0` and the definition OV_HAVE_GMIME; without them the bench runs
// read and walk only.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_timing.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "ov/contscan.h"

#ifdef OV_HAVE_GMIME
#include <gmime/gmime.h>
#endif

namespace {

// Deterministic text and bytes for the corpus.
class MailMaker {
public:
    explicit MailMaker(uint32_t seed) : m_random(seed) {}

    std::string Make(int kind, size_t size, int serial)
    {
        std::string mail = Headers(kind, serial);
        switch (kind) {
        case 0:
            mail += "Content-Type: text/plain; charset=us-ascii\n\n" + AsciiText(size);
            break;
        case 1:
            mail += "Content-Type: text/plain; charset=iso-8859-1\n"
                    "Content-Transfer-Encoding: quoted-printable\n\n" + QuotedText(size);
            break;
        case 2:
            mail += Multipart(size);
            break;
        default:
            mail += "Content-Type: text/plain; charset=iso-2022-jp\n"
                    "Content-Transfer-Encoding: 7bit\n\n" + JapaneseText(size);
            break;
        }
        return mail;
    }

    // A multipart mail of about `size` bytes: plain, quoted-printable and
    // Japanese text parts and a base64 attachment, a quarter each.
    std::string Mixed(size_t size)
    {
        std::string boundary = "=_mixed_0012_01C2A8";
        size_t quarter = size / 4;
        std::string mail = Headers(0, 1) + "Content-Type: multipart/mixed; boundary=\"" +
                           boundary + "\"\n\n--" + boundary +
                           "\nContent-Type: text/plain; charset=us-ascii\n\n" + AsciiText(quarter);
        mail += "--" + boundary + "\nContent-Type: text/plain; charset=iso-8859-1\n"
                "Content-Transfer-Encoding: quoted-printable\n\n" + QuotedText(quarter);
        mail += "--" + boundary + "\nContent-Type: text/plain; charset=iso-2022-jp\n\n" +
                JapaneseText(quarter);
        mail += "--" + boundary + "\nContent-Type: application/octet-stream; name=\"a.bin\"\n"
                "Content-Transfer-Encoding: base64\n\n" + Base64Lines(quarter * 3 / 4);
        return mail + "--" + boundary + "--\n";
    }

    // A plain mail whose body is one line of `size` bytes of words.
    std::string OneLine(size_t size)
    {
        std::string line;
        line.reserve(size + 16);
        while (line.size() < size)
            line += Word() + " ";
        return Headers(0, 1) + "Content-Type: text/plain; charset=us-ascii\n\n" + line + "\n";
    }

private:
    size_t Below(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(m_random); }

    std::string Word()
    {
        static const char *const kWords[] = {"meeting", "report", "the",  "budget", "for",
                                             "quarter", "project", "and", "please", "review",
                                             "attached", "draft",  "team", "schedule", "of",
                                             "customer", "order",  "we",   "will",   "send"};
        return kWords[Below(sizeof kWords / sizeof kWords[0])];
    }

    std::string Line(size_t words)
    {
        std::string line;
        for (size_t i = 0; i < words; ++i)
            line += (i ? " " : "") + Word();
        return line;
    }

    std::string Headers(int kind, int serial)
    {
        std::string subject = kind == 3 ? "=?ISO-2022-JP?B?GyRCMnE1RCEmOj9kJD5tGyhC?= " + Line(2)
                                        : Line(5);
        return "Return-Path: <sender@example.com>\n"
               "Received: from mx.example.com (mx.example.com [192.0.2.1])\n"
               "\tby gw.example.org with ESMTP id " + std::to_string(serial) + "\n"
               "From: Sender <sender@example.com>\nTo: rcpt@example.org\n"
               "Subject: " + subject + "\nDate: Fri, 20 Dec 2002 18:02:39 +0900\n"
               "Message-ID: <" + std::to_string(serial) + "@example.com>\nMIME-Version: 1.0\n";
    }

    std::string AsciiText(size_t size)
    {
        std::string text;
        while (text.size() < size)
            text += Line(6 + Below(8)) + "\n";
        return text;
    }

    std::string QuotedText(size_t size)
    {
        std::string text;
        while (text.size() < size) {
            std::string line = Line(8 + Below(6));
            line += Below(2) ? " caf=E9 na=EFve r=E9sum=E9" : " =3D total";
            if (line.size() > 70)
                line.insert(70, "=\n");
            text += line + "\n";
        }
        return text;
    }

    std::string Base64Lines(size_t bytes)
    {
        static const char kAlphabet[] =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string out;
        size_t characters = (bytes + 2) / 3 * 4;
        for (size_t i = 0; i < characters; ++i) {
            out += kAlphabet[Below(64)];
            if (i % 76 == 75)
                out += '\n';
        }
        return out + "\n";
    }

    std::string Multipart(size_t size)
    {
        std::string boundary = "----=_NextPart_000_0012_01C2A8.5B1D2E40";
        std::string body = "Content-Type: multipart/mixed;\n\tboundary=\"" + boundary +
                           "\"\n\nThis is a multi-part message in MIME format.\n\n--" + boundary +
                           "\nContent-Type: text/plain; charset=us-ascii\n\n" + AsciiText(2000);
        size_t parts = 1 + Below(3);
        size_t each = size > 4000 ? (size - 4000) * 3 / 4 / parts : 1000;
        for (size_t p = 0; p < parts; ++p)
            body += "--" + boundary + "\nContent-Type: application/octet-stream;\n\tname=\"file" +
                    std::to_string(p) + ".bin\"\nContent-Transfer-Encoding: base64\n"
                    "Content-Disposition: attachment;\n\tfilename=\"file" + std::to_string(p) +
                    ".bin\"\n\n" + Base64Lines(each);
        return body + "--" + boundary + "--\n";
    }

    std::string JapaneseText(size_t size)
    {
        // Runs of JIS X 0208 kanji and kana between ASCII words.
        std::string text;
        while (text.size() < size) {
            std::string line = Line(2) + " \x1b$B";
            size_t characters = 10 + Below(20);
            for (size_t i = 0; i < characters; ++i) {
                line += char(0x30 + Below(0x20));
                line += char(0x21 + Below(0x5E));
            }
            text += line + "\x1b(B " + Line(2) + "\n";
        }
        return text;
    }

    std::mt19937 m_random;
};

struct Corpus {
    std::string dir;
    std::vector<std::string> files;
    size_t bytes = 0;
};

// A fresh directory under $TMPDIR (or /tmp) for the corpus.
bool MakeScratchDirectory(Corpus &corpus)
{
    const char *tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/ov_mail_walk_XXXXXX";
    if (!mkdtemp(&pattern[0]))
        return false;
    corpus.dir = pattern;
    return true;
}

Corpus WriteCorpus(int mails)
{
    Corpus corpus;
    if (!MakeScratchDirectory(corpus))
        return corpus;
    MailMaker maker(20021220);
    std::mt19937 sizes(7);
    for (int i = 0; i < mails; ++i) {
        size_t size = std::uniform_int_distribution<size_t>(20 * 1024, 70 * 1024)(sizes);
        std::string mail = maker.Make(i % 4, size, i);
        std::string path = corpus.dir + "/DF" + std::to_string(i);
        FILE *out = std::fopen(path.c_str(), "wb");
        if (!out)
            continue;
        std::fwrite(mail.data(), 1, mail.size(), out);
        std::fclose(out);
        corpus.files.push_back(path);
        corpus.bytes += mail.size();
    }
    return corpus;
}

Corpus WriteSingle(const std::string &mail)
{
    Corpus corpus;
    if (!MakeScratchDirectory(corpus))
        return corpus;
    std::string path = corpus.dir + "/DF";
    FILE *out = std::fopen(path.c_str(), "wb");
    if (!out)
        return corpus;
    bool written = std::fwrite(mail.data(), 1, mail.size(), out) == mail.size();
    if (std::fclose(out) == 0 && written) {
        corpus.files.push_back(path);
        corpus.bytes = mail.size();
    }
    return corpus;
}

void RemoveCorpus(const Corpus &corpus)
{
    for (const std::string &file : corpus.files)
        std::remove(file.c_str());
    std::remove((corpus.dir + "/text").c_str());
    rmdir(corpus.dir.c_str());
}

size_t ReadAll(const Corpus &corpus)
{
    static std::vector<char> block(1 << 16);
    size_t total = 0;
    for (const std::string &file : corpus.files) {
        FILE *in = std::fopen(file.c_str(), "rb");
        if (!in)
            continue;
        size_t got;
        while ((got = std::fread(block.data(), 1, block.size(), in)) > 0)
            total += got;
        std::fclose(in);
    }
    return total;
}

int WalkAll(const Corpus &corpus)
{
    auto text = std::make_unique<MEMBUF>();
    std::string textPath = corpus.dir + "/text";
    int attachments = 0;
    for (const std::string &file : corpus.files) {
        CMailInfo info;
        GetAttachmentInfo(file.c_str(), text.get(), textPath.c_str(), &info);
        attachments += info.m_nAttachCount;
    }
    return attachments;
}

#ifdef OV_HAVE_GMIME
void DecodePart(GMimeObject *, GMimeObject *part, gpointer count)
{
    if (!GMIME_IS_PART(part))
        return;
    ++*static_cast<int *>(count);
    if (GMIME_IS_TEXT_PART(part)) {
        char *text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
        g_free(text);
        return;
    }
    GMimeDataWrapper *content = g_mime_part_get_content(GMIME_PART(part));
    if (!content)
        return;
    GMimeStream *sink = g_mime_stream_null_new();
    g_mime_data_wrapper_write_to_stream(content, sink);
    g_object_unref(sink);
}

int GMimeAll(const Corpus &corpus)
{
    int parts = 0;
    for (const std::string &file : corpus.files) {
        GMimeStream *stream = g_mime_stream_fs_open(file.c_str(), O_RDONLY, 0, nullptr);
        if (!stream)
            continue;
        GMimeParser *parser = g_mime_parser_new_with_stream(stream);
        GMimeMessage *message = g_mime_parser_construct_message(parser, nullptr);
        if (message) {
            const char *subject = g_mime_message_get_subject(message);
            parts += subject != nullptr;
            g_mime_message_foreach(message, DecodePart, &parts);
            g_object_unref(message);
        }
        g_object_unref(parser);
        g_object_unref(stream);
    }
    return parts;
}
#endif

double MegabytesPerSecond(size_t bytes, double seconds)
{
    return double(bytes) / (1024.0 * 1024.0) / seconds;
}

// Walk and (when built) GMime over one corpus; returns walk/gmime or 0.
double Compare(const Corpus &corpus, const char *label, bool withRead)
{
    size_t read = 0;
    int attachments = 0;
    double readTime = withRead ? BestOf(3, [&] { read = ReadAll(corpus); }) : 0;
    double walkTime = BestOf(3, [&] { attachments = WalkAll(corpus); });
    std::printf("%-10s walk  %8.1f MB/s  (%d attachments)\n", label,
                MegabytesPerSecond(corpus.bytes, walkTime), attachments);
    if (withRead) {
        std::printf("%-10s read  %8.1f MB/s\n", label, MegabytesPerSecond(read, readTime));
        std::printf("%-10s walk/read  time ratio %.2f\n", label, walkTime / readTime);
    }
#ifdef OV_HAVE_GMIME
    int parts = 0;
    double gmimeTime = BestOf(3, [&] { parts = GMimeAll(corpus); });
    std::printf("%-10s gmime %8.1f MB/s  (%d parts and subjects)\n", label,
                MegabytesPerSecond(corpus.bytes, gmimeTime), parts);
    std::printf("%-10s walk/gmime time ratio %.2f\n", label, walkTime / gmimeTime);
    return walkTime / gmimeTime;
#else
    return 0;
#endif
}

void CompareSingles()
{
    struct Single {
        const char *label;
        size_t size;
        bool oneLine;
    };
    const Single kSingles[] = {{"10KB", 10 << 10, false},      {"1MB", 1 << 20, false},
                               {"10MB", 10 << 20, false},      {"50MB", 50 << 20, false},
                               {"20MB-line", 20 << 20, true}};
    for (const Single &single : kSingles) {
        MailMaker maker(1036);
        Corpus corpus = WriteSingle(single.oneLine ? maker.OneLine(single.size)
                                                   : maker.Mixed(single.size));
        if (corpus.files.empty()) {
            std::fprintf(stderr, "cannot write the %s mail\n", single.label);
            continue;
        }
        if (single.size < (1 << 20)) {   // too short to time alone: 200 copies
            std::vector<std::string> copies(200, corpus.files[0]);
            Corpus repeated = corpus;
            repeated.files = copies;
            repeated.bytes = corpus.bytes * copies.size();
            Compare(repeated, single.label, false);
        } else {
            Compare(corpus, single.label, false);
        }
        RemoveCorpus(corpus);
    }
}

} // namespace

int main(int argc, char **argv)
{
    int mails = argc > 1 ? std::atoi(argv[1]) : 2000;
    if (mails <= 0)
        mails = 2000;
    std::string only = argc > 2 ? argv[2] : "";
#ifdef OV_HAVE_GMIME
    g_mime_init();
#else
    std::printf("gmime  not built (needs OV_HAVE_GMIME and the gmime-3.0 flags)\n");
#endif
    if (only != "single") {
        Corpus corpus = WriteCorpus(mails);
        if (corpus.files.empty()) {
            std::fprintf(stderr, "cannot write the corpus\n");
            return 1;
        }
        std::printf("corpus: %zu mails, %.1f MB\n", corpus.files.size(),
                    double(corpus.bytes) / (1024.0 * 1024.0));
        Compare(corpus, "corpus", true);
        RemoveCorpus(corpus);
    }
    if (only != "corpus")
        CompareSingles();
#ifdef OV_HAVE_GMIME
    g_mime_shutdown();
#endif
    return 0;
}
