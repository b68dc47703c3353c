// The rule scanner's attachment operations: TNEF names inside encoded
// attachments, attachment text for the keyword scan, and the removal of
// every temporary file.
#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mail/attach_decode_comp.h"
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

std::vector<std::string> TnefNames(const Attach_Stru &attach)
{
    std::vector<std::string> names;
    for (const CTnefFileName *node = attach.m_pTnefHead; node; node = node->m_pNext)
        names.push_back(node->m_strName);
    return names;
}

size_t FileCount(const std::string &dir)
{
    size_t count = 0;
    if (DIR *handle = opendir(dir.c_str())) {
        while (dirent *entry = readdir(handle))
            count += entry->d_name[0] != '.';
        closedir(handle);
    }
    return count;
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
    struct Row {
        const char *what;
        std::string part;
        bool closed;
    } rows[] = {
        {"base64", Part("application/ms-tnef; name=\"winmail.dat\"", TnefStream()), true},
        {"base64, boundary never closed", Part("application/ms-tnef", TnefStream()), false},
        {"uuencoded winmail.dat in a text body",
         "--b\nContent-Type: text/plain\n\nsee attached\nbegin 644 WINMAIL.DAT\n" + UuBlock(TnefStream()),
         true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        TempDirScope temp;
        Scanned got = Scan(kTop + row.part + (row.closed ? "--b--\n" : ""), false);
        EXPECT_EQ(got.decoded, 1);
        ASSERT_EQ(got.info->m_nAttachCount, 1);
        const Attach_Stru &attach = *got.info->m_pAttach[0];
        EXPECT_TRUE(attach.m_bTnef);
        EXPECT_EQ(TnefNames(attach), (std::vector<std::string>{"report.doc", "notes.txt"}));
        EXPECT_TRUE(attach.m_strTempFile.empty() && attach.m_strTempFile2.empty());
        EXPECT_EQ(FileCount(temp.dir()), 0u);
        EXPECT_EQ(got.text.find("secret plan"), std::string::npos);
    }
}

TEST(AttachmentOps, AttachmentScanAddsTheirText)
{
    TempDirScope temp;
    std::string xls = std::string("\xd0\xcf\x11\xe0\x01\x02", 6) + "Quarterly figures" + '\x01' +
                      std::string("C\0o\0n\0f\0i\0d\0e\0n\0t\0i\0a\0l\0", 24) + '\x02' + '\x03' +
                      std::string("\xd8\x79\xc6\x5b\xd8\x79\xc6\x5b", 8) + std::string(4, '\0');
    std::string mail = kTop + Part("application/ms-tnef", TnefStream()) +
                       Part("application/octet-stream; name=memo.txt", "ordinary words\n") +
                       Part("application/vnd.ms-excel; name=\"data.XLS\"", xls) +
                       Part("application/pdf; name=skip.pdf", "pdf words") + "--b--\n";
    Scanned off = Scan(mail, false);
    EXPECT_EQ(off.text.find("ordinary words"), std::string::npos);
    Scanned on = Scan(mail, true);
    for (const char *expected : {"body words", "the secret plan", "binary doc", "ordinary words", "Quarterly figures",
                                 "Confidential", "\xc8\xeb\xcc\xa9\xc8\xeb\xcc\xa9"})
        EXPECT_NE(on.text.find(expected), std::string::npos) << expected;
    EXPECT_EQ(on.text.find("pdf words"), std::string::npos);
    EXPECT_EQ(FileCount(temp.dir()), 0u);
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

TEST(AttachmentOps, EveryTnefNameIsListedAndItsTextRead)
{
    TnefWriter tnef;
    tnef.MessageHeader("many");
    std::vector<std::string> expected;
    for (int i = 0; i < 300; ++i) {
        expected.push_back(i == 250 ? "late.txt" : "f" + std::to_string(i) + ".bin");
        tnef.File(expected.back(), i == 250 ? "late secret words\n" : "bytes");
    }
    std::string mail = kTop + Part("application/ms-tnef", tnef.bytes()) + "--b--\n";
    for (bool attachScan : {false, true}) {
        SCOPED_TRACE(attachScan);
        TempDirScope temp;
        Scanned got = Scan(mail, attachScan);
        ASSERT_EQ(got.info->m_nAttachCount, 1);
        EXPECT_EQ(TnefNames(*got.info->m_pAttach[0]), expected);
        EXPECT_EQ(got.text.find("late secret words") != std::string::npos, attachScan);
        EXPECT_EQ(FileCount(temp.dir()), 0u);
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
    EXPECT_EQ(FileCount(temp.dir()), 0u);
}

TEST(AttachmentOps, SmallOperations)
{
    struct {
        const char *name;
        bool included;
    } names[] = {{"a.txt", true}, {"B.DOC", true}, {"c.Ppt", true}, {"d.xls", true},
                 {"e.xlsx", false}, {"txt", false}, {"f.pdf", false}};
    for (const auto &row : names)
        EXPECT_EQ(AttachDecodeComp::IsIncluded(row.name), row.included) << row.name;
    EXPECT_FALSE(AttachDecodeComp::IsIncluded(nullptr));

    struct {
        const char *in, *out;
    } strings[] = {
        {"plain.doc", "plain.doc"},
        {"\xe7\xa7\x98\xe5\xaf\x86.doc", "\xc8\xeb\xcc\xa9.doc"},        // UTF-8
        {"=?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=", "\xa5\xc6\xa5\xb9\xa5\xc8"},   // encoded word
    };
    for (const auto &row : strings) {
        char *host = DecodeString(row.in);
        ASSERT_NE(host, nullptr);
        EXPECT_STREQ(host, row.out);
        std::free(host);
    }
    EXPECT_EQ(DecodeString(nullptr), nullptr);

    Attach_Stru unknown;
    EXPECT_FALSE(TakeAttachmentIntoSingleFile("/nonexistent", unknown, "/tmp/x"));
    unknown.m_nStart = 0;
    EXPECT_FALSE(TakeAttachmentIntoSingleFile("/nonexistent", unknown, "/tmp/x"));
    std::strcpy(unknown.m_szContentType, "Application/MS-TNEF");
    EXPECT_TRUE(IsTnefAttachment(unknown));
}

} // namespace
