// The rule scanner's attachment operations: TNEF names inside encoded
// attachments, attachment text for the keyword scan, and the removal of
// every temporary file.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mail/attachment_ops.h"
#include "mail/charset.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "mail/temp_dir.h"
#include "support/base_temp_dir.h"
#include "support/mail_japanese_text.h"
#include "support/mail_tnef_writer.h"
#include "uu_lines.h"

namespace {

std::string TnefStream()
{
    TnefWriter tnef;
    tnef.MessageHeader("plans").File("report.doc", "binary doc").File("notes.txt", "the secret plan\n");
    return tnef.bytes();
}

// 300 files; the 251st holds the only text.
std::string ManyFilesStream(std::vector<std::string> *names)
{
    TnefWriter tnef;
    tnef.MessageHeader("many");
    for (int i = 0; i < 300; ++i) {
        names->push_back(i == 250 ? "late.txt" : "f" + std::to_string(i) + ".bin");
        tnef.File(names->back(), i == 250 ? "late secret words\n" : "bytes");
    }
    return tnef.bytes();
}

std::vector<std::string> TnefNames(const Attach_Stru &attach)
{
    std::vector<std::string> names;
    for (const CTnefFileName *node = attach.m_pTnefHead; node; node = node->m_pNext)
        names.push_back(node->m_strName);
    return names;
}

// A scratch temporary directory for the plug-in, restored afterwards.
class TempDirScope {
public:
    TempDirScope() : m_saved(g_t_strTEMPDIR) { g_t_strTEMPDIR = m_dir.dir() + "/"; }
    ~TempDirScope() { g_t_strTEMPDIR = m_saved; }
    const std::string &dir() const { return m_dir.dir(); }

private:
    BaseTempDir m_dir;
    t_string m_saved;
};

struct Scanned {
    std::unique_ptr<CMailInfo> info = std::make_unique<CMailInfo>();
    std::unique_ptr<MEMBUF> buf = std::make_unique<MEMBUF>();
    std::string text;
    int decoded = 0;
};

Scanned Scan(const std::string &mail, bool attachScan)
{
    BaseTempDir work;
    Scanned out;
    std::string df = work.write("DF", mail);
    std::string text = work.path("text");
    EXPECT_TRUE(GetAttachmentInfo(df.c_str(), out.buf.get(), text.c_str(), out.info.get()));
    out.decoded = GetTnefFileName(df.c_str(), attachScan, *out.info, out.buf.get(), text.c_str());
    out.text = out.buf->m_bInMemory ? std::string(out.buf->m_szData) : ReadFile(text);
    return out;
}

const std::string kTop = "From: a@example.com\nSubject: s\nMIME-Version: 1.0\n"
                         "Content-Type: multipart/mixed; boundary=\"b\"\n\n"
                         "--b\nContent-Type: text/plain\n\nbody words\n";

// A base64 part of that type holding the bytes.
std::string Part(const std::string &type, const std::string &bytes)
{
    return "--b\nContent-Type: " + type + "\nContent-Transfer-Encoding: base64\n\n" +
           Base64Body(bytes);
}

TEST(AttachmentOps, TnefNamesFromEncodedAttachments)
{
    const std::vector<std::string> two = {"report.doc", "notes.txt"};
    std::vector<std::string> many;
    const std::string manyFiles = ManyFilesStream(&many);
    struct Row {
        const char *what;
        std::string part;
        bool closed;
        std::vector<std::string> names;
    } rows[] = {
        {"base64", Part("application/ms-tnef; name=\"winmail.dat\"", TnefStream()), true, two},
        {"base64, boundary never closed", Part("application/ms-tnef", TnefStream()), false, two},
        {"uuencoded winmail.dat in a text body",
         "--b\nContent-Type: text/plain\n\nsee attached\nbegin 644 WINMAIL.DAT\n" + UuBlock(TnefStream()),
         true, two},
        {"300 names", Part("application/ms-tnef", manyFiles), true, many},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        TempDirScope temp;
        Scanned got = Scan(kTop + row.part + (row.closed ? "--b--\n" : ""), false);
        EXPECT_EQ(got.decoded, 1);
        ASSERT_EQ(got.info->m_nAttachCount, 1);
        const Attach_Stru &attach = *got.info->m_pAttach[0];
        EXPECT_TRUE(attach.m_bTnef);
        EXPECT_EQ(TnefNames(attach), row.names);
        EXPECT_TRUE(attach.m_strTempFile.empty() && attach.m_strTempFile2.empty());
        EXPECT_TRUE(FilesBelow(temp.dir()).empty());
        EXPECT_EQ(got.text.find("secret"), std::string::npos);
    }
}

TEST(AttachmentOps, AttachmentScanAddsTheirText)
{
    TempDirScope temp;
    std::string xls = std::string("\xd0\xcf\x11\xe0\x01\x02", 6) + "Quarterly figures" + '\x01' +
                      std::string("C\0o\0n\0f\0i\0d\0e\0n\0t\0i\0a\0l\0", 24) + '\x02' + '\x03' +
                      std::string("\xd8\x79\xc6\x5b\xd8\x79\xc6\x5b", 8) + std::string(4, '\0');
    std::vector<std::string> many;
    std::string mail = kTop + Part("application/ms-tnef", TnefStream()) +
                       Part("application/ms-tnef", ManyFilesStream(&many)) +
                       Part("application/octet-stream; name=memo.txt", "ordinary words\n") +
                       Part("application/vnd.ms-excel; name=\"data.XLS\"", xls) +
                       Part("application/pdf; name=skip.pdf", "pdf words") + "--b--\n";
    Scanned off = Scan(mail, false);
    EXPECT_EQ(off.text.find("ordinary words"), std::string::npos);
    Scanned on = Scan(mail, true);
    for (const char *expected : {"body words", "the secret plan", "binary doc", "late secret words",
                                 "ordinary words", "Quarterly figures", "Confidential",
                                 "\xc8\xeb\xcc\xa9\xc8\xeb\xcc\xa9"})
        EXPECT_NE(on.text.find(expected), std::string::npos) << expected;
    EXPECT_EQ(on.text.find("pdf words"), std::string::npos);
    EXPECT_TRUE(FilesBelow(temp.dir()).empty());
}

TEST(AttachmentOps, AttachmentTextThatCannotBeWrittenIsReported)
{
    const std::string mail =
        kTop + Part("application/octet-stream; name=memo.txt", "ordinary words\n") + "--b--\n";
    for (const char *textPath : {"/dev/full", ""}) {
        SCOPED_TRACE(textPath);
        TempDirScope temp;
        BaseTempDir work;
        const std::string df = work.write("DF", mail);
        const std::string text = *textPath ? textPath : work.path("text");
        CMailInfo info;
        ASSERT_TRUE(GetAttachmentInfo(df.c_str(), nullptr, nullptr, &info));
        GetTnefFileName(df.c_str(), true, info, nullptr, text.c_str());
        EXPECT_EQ(info.m_bTextWriteFailed, *textPath != '\0');
    }
}

TEST(AttachmentOps, DecodedContentIsNamedByDirection)
{
    TempDirScope temp;
    BaseTempDir work;
    std::string df = work.write("DF", kTop + Part("application/x-a", "x") + "--b--\n");
    CMailInfo info;
    ASSERT_TRUE(GetAttachmentInfo(df.c_str(), nullptr, nullptr, &info));
    for (int direction : {1, 0}) {
        info.m_nDirection = direction;
        ASSERT_TRUE(DecodeAttachmentContent(df.c_str(), info, 0));
        const std::string &file = info.m_pAttach[0]->m_strTempFile;
        EXPECT_EQ(file.substr(temp.dir().size() + 1, 3), direction ? "ATO" : "ATI") << file;
        EXPECT_EQ(ReadFile(info.m_pAttach[0]->m_strTempFile2), "x");
    }
    info.ClearAttachTnefFileList();
    EXPECT_TRUE(FilesBelow(temp.dir()).empty());
}

TEST(AttachmentOps, NamesInTheHostCodeAndTnefByType)
{
    struct {
        const char *in, *out;
    } names[] = {
        {"plain.doc", "plain.doc"},
        {"\xe7\xa7\x98\xe5\xaf\x86.doc", "\xc8\xeb\xcc\xa9.doc"},           // UTF-8
        {"=?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=", "\xa5\xc6\xa5\xb9\xa5\xc8"}, // encoded word
    };
    for (const auto &row : names)
        EXPECT_EQ(TakeText(DecodeString(row.in)), row.out);
    Attach_Stru attach;
    std::strcpy(attach.m_szContentType, "Application/MS-TNEF");
    EXPECT_TRUE(IsTnefAttachment(attach));
}

} // namespace
