// Attachment operations: TNEF names inside encoded attachments, attachment
// text for the keyword scan, and the removal of every temporary file.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mail/attachment_ops.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "mail/temp_dir.h"
#include "support/base_temp_dir.h"
#include "support/mail_japanese_text.h"
#include "support/mail_tnef_writer.h"
#include "uu_lines.h"

namespace {

using Names = std::vector<std::string>;

// Two files (the first with a UTF-8 name), or 300 whose 251st alone holds text.
std::string TnefStream(Names *many = nullptr)
{
    TnefWriter tnef;
    tnef.MessageHeader("plans");
    if (!many)
        return tnef.File("\xe7\xa7\x98\xe5\xaf\x86.doc", "binary doc").File("notes.txt", "the secret plan\n").bytes();
    for (int i = 0; i < 300; ++i) {
        many->push_back(i == 250 ? "late.txt" : "f" + std::to_string(i) + ".bin");
        tnef.File(many->back(), i == 250 ? "late secret words\n" : "bytes");
    }
    return tnef.bytes();
}

// Scratch directories: the plug-in's (restored afterwards) and the mail's.
struct Scratch {
    Scratch() : saved(g_t_strTEMPDIR) { g_t_strTEMPDIR = temp.dir() + "/"; }
    ~Scratch() { g_t_strTEMPDIR = saved; }
    BaseTempDir temp, work;
    t_string saved;
};

struct Scanned {
    std::unique_ptr<CMailInfo> info = std::make_unique<CMailInfo>();
    std::unique_ptr<MEMBUF> buf = std::make_unique<MEMBUF>();
    std::string text;
    int decoded = 0;
};

Scanned Scan(const std::string &mail, bool attachScan, const Scratch &scratch)
{
    Scanned out;
    std::string df = scratch.work.write("DF", mail), text = scratch.work.path("text");
    EXPECT_TRUE(GetAttachmentInfo(df.c_str(), out.buf.get(), text.c_str(), out.info.get()));
    out.decoded = GetTnefFileName(df.c_str(), attachScan, *out.info, out.buf.get(), text.c_str());
    out.text = out.buf->m_bInMemory ? std::string(out.buf->m_szData) : ReadFile(text);
    return out;
}

const std::string kTop = "From: a@example.com\nSubject: s\nMIME-Version: 1.0\n"
                         "Content-Type: multipart/mixed; boundary=\"b\"\n\n"
                         "--b\nContent-Type: text/plain\n\nbody words\n";

std::string Part(const std::string &type, const std::string &bytes)
{
    return "--b\nContent-Type: " + type + "\nContent-Transfer-Encoding: base64\n\n" + Base64Body(bytes);
}

TEST(AttachmentOps, TnefNamesFromEncodedAttachments)
{
    const Names two = {"\xc8\xeb\xcc\xa9.doc", "notes.txt"}; // the name in the host code
    Names many;
    const std::string manyFiles = TnefStream(&many);
    struct Row {
        const char *what;
        std::string part;
        bool closed;
        Names names;
    } rows[] = {
        {"base64", Part("application/ms-tnef; name=\"winmail.dat\"", TnefStream()), true, two},
        {"base64, boundary never closed", Part("Application/MS-TNEF", TnefStream()), false, two},
        {"uuencoded winmail.dat in a text body",
         "--b\nContent-Type: text/plain\n\nsee attached\nbegin 644 WINMAIL.DAT\n" + UuBlock(TnefStream()),
         true, two},
        {"300 names", Part("application/ms-tnef", manyFiles), true, many},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        Scratch scratch;
        Scanned got = Scan(kTop + row.part + (row.closed ? "--b--\n" : ""), false, scratch);
        EXPECT_EQ(got.decoded, 1);
        ASSERT_EQ(got.info->m_nAttachCount, 1);
        const Attach_Stru &attach = *got.info->m_pAttach[0];
        EXPECT_TRUE(attach.m_bTnef);
        Names names;
        for (const CTnefFileName *node = attach.m_pTnefHead; node; node = node->m_pNext)
            names.push_back(node->m_strName);
        EXPECT_EQ(names, row.names);
        EXPECT_TRUE(attach.m_strTempFile.empty() && attach.m_strTempFile2.empty());
        EXPECT_TRUE(FilesBelow(scratch.temp.dir()).empty());
        EXPECT_EQ(got.text.find("secret"), std::string::npos);
    }
}

TEST(AttachmentOps, AttachmentScanAddsTheirText)
{
    Scratch scratch;
    std::string xls = std::string("\xd0\xcf\x11\xe0\x01\x02", 6) + "Quarterly figures" + '\x01' +
                      std::string("C\0o\0n\0f\0i\0d\0e\0n\0t\0i\0a\0l\0", 24) + '\x02' + '\x03' +
                      std::string("\xd8\x79\xc6\x5b\xd8\x79\xc6\x5b", 8) + std::string(4, '\0');
    Names many;
    std::string mail = kTop + Part("application/ms-tnef", TnefStream()) +
                       Part("application/ms-tnef", TnefStream(&many)) +
                       Part("application/octet-stream; name=memo.txt", "ordinary words\n") +
                       Part("application/vnd.ms-excel; name=\"data.XLS\"", xls) +
                       Part("application/pdf; name=skip.pdf", "pdf words") + "--b--\n";
    EXPECT_EQ(Scan(mail, false, scratch).text.find("ordinary words"), std::string::npos);
    const std::string text = Scan(mail, true, scratch).text;
    for (const char *expected : {"body words", "the secret plan", "binary doc", "late secret words",
                                 "ordinary words", "Quarterly figures", "Confidential",
                                 "\xc8\xeb\xcc\xa9\xc8\xeb\xcc\xa9"})
        EXPECT_NE(text.find(expected), std::string::npos) << expected;
    EXPECT_EQ(text.find("pdf words"), std::string::npos);
    EXPECT_TRUE(FilesBelow(scratch.temp.dir()).empty());
    // Text that cannot be written is reported.
    const std::string df = scratch.work.write("DF", mail);
    for (const std::string &textPath : {scratch.work.path("text"), std::string("/dev/full")}) {
        CMailInfo info;
        ASSERT_TRUE(GetAttachmentInfo(df.c_str(), nullptr, nullptr, &info));
        GetTnefFileName(df.c_str(), true, info, nullptr, textPath.c_str());
        EXPECT_EQ(info.m_bTextWriteFailed, textPath == "/dev/full");
    }
}

TEST(AttachmentOps, DecodedContentIsNamedByDirection)
{
    Scratch scratch;
    std::string df = scratch.work.write("DF", kTop + Part("application/x-a", "x") + "--b--\n");
    CMailInfo info;
    ASSERT_TRUE(GetAttachmentInfo(df.c_str(), nullptr, nullptr, &info));
    for (int direction : {1, 0}) {
        info.m_nDirection = direction;
        ASSERT_TRUE(DecodeAttachmentContent(df.c_str(), info, 0));
        const std::string &file = info.m_pAttach[0]->m_strTempFile;
        EXPECT_EQ(file.substr(scratch.temp.dir().size() + 1, 3), direction ? "ATO" : "ATI") << file;
        EXPECT_EQ(ReadFile(info.m_pAttach[0]->m_strTempFile2), "x");
    }
    info.ClearAttachTnefFileList();
    EXPECT_TRUE(FilesBelow(scratch.temp.dir()).empty());
}

} // namespace
