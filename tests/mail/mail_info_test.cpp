// CMailInfo's lists of relay hosts and attachments, and the attachment
// record with its TNEF names and temporary files.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "mail/mail_info.h"
#include "mail/temp_dir.h"
#include "support/base_temp_dir.h"

namespace {

TEST(CMailInfo, DomainsStopAt128AndLongFieldsAreCutInPlace)
{
    CMailInfo info;
    std::string host(600, 'h'), name(600, 'n'), type(200, 't');
    info.AddDomain(&host[0]);
    info.AddAttach(&name[0], &type[0]);
    EXPECT_EQ(std::strlen(host.c_str()), 511u); // the caller's text too
    EXPECT_EQ(std::string(info.m_pDomain[0]), std::string(511, 'h'));
    EXPECT_EQ(std::string(info.m_pAttach[0]->m_szName), std::string(511, 'n'));
    EXPECT_EQ(std::string(info.m_pAttach[0]->m_szContentType), std::string(127, 't'));
    for (int i = 1; i < 140; ++i) {
        std::string relay = "relay" + std::to_string(i);
        info.AddDomain(&relay[0]);
    }
    EXPECT_EQ(info.m_nDomainCount, 128);
    EXPECT_STREQ(info.m_pDomain[127], "relay127");
}

std::vector<std::string> Names(const Attach_Stru &attach)
{
    std::vector<std::string> names;
    for (const CTnefFileName *node = attach.m_pTnefHead; node; node = node->m_pNext)
        names.push_back(node->m_strName);
    return names;
}

TEST(Attach_Stru, AssignmentAppendsNamesAndLeavesEncodingAndFilesAlone)
{
    Attach_Stru source;
    std::strcpy(source.m_szName, "winmail.dat");
    source.m_nStart = 10;
    source.m_nEncoding = 4;
    source.m_bTnef = true;
    source.m_strTempFile = "/nonexistent/a";
    source.AddFileName("inner1.doc", false);
    source.AddFileName("inner2.xls", false);
    Attach_Stru copy;
    copy.AddFileName("kept.txt", false);
    copy = source;
    EXPECT_STREQ(copy.m_szName, "winmail.dat");
    EXPECT_EQ(copy.m_nStart, 10);
    EXPECT_EQ(copy.m_nEncoding, 0);
    EXPECT_FALSE(copy.m_bTnef || !copy.m_strTempFile.empty());
    EXPECT_EQ(Names(copy), (std::vector<std::string>{"kept.txt", "inner1.doc", "inner2.xls"}));
    Attach_Stru &same = copy;
    copy = same; // must not loop appending its own list
    EXPECT_EQ(Names(copy).size(), 3u);
    source.m_strTempFile.clear();
}

TEST(Attach_Stru, TnefNamesGetSafeTempPathsThatClearingDeletes)
{
    BaseTempDir dir;
    g_t_strTEMPDIR = dir.dir() + "/";
    CMailInfo info;
    char name[] = "winmail.dat";
    info.AddAttach(name, nullptr);
    Attach_Stru &attach = *info.m_pAttach[0];
    attach.AddFileName(std::string(1100, 'x').c_str(), true);
    EXPECT_EQ(attach.m_pTnefHead->m_strName.size(), 1023u);
    EXPECT_TRUE(attach.m_pTnefHead->m_strTempPath.empty()); // not TNEF yet
    attach.m_bTnef = true;
    attach.AddFileName("../../etc/passwd", true);
    EXPECT_EQ(attach.m_pTnefTail->m_strName, "../../etc/passwd");
    EXPECT_EQ(attach.m_pTnefTail->m_strTempPath, dir.dir() + "/____etc_passwd");
    g_t_strTEMPDIR.clear();
    attach.m_pTnefHead->m_strPath = dir.write("node-path", "1");
    attach.m_pTnefHead->m_strTempPath = dir.write("node-temp", "2");
    attach.m_pTnefTail->m_strTempPath = dir.write("tail-temp", "3");
    attach.m_strTempFile = dir.write("temp1", "4");
    attach.m_strTempFile2 = dir.write("temp2", "5");
    info.ClearAttachTnefFileList();
    EXPECT_TRUE(FilesBelow(dir.dir()).empty());
    EXPECT_EQ(attach.m_pTnefHead, nullptr);
    struct {
        const char *name, *safe;
    } rows[] = {
        {"a.doc", "a.doc"}, {"../x", "__x"}, {"a/b", "a_b"}, {"..", "_"},
        {"...", "_."},      {"", "_"},       {nullptr, "_"}, {"a..b", "a_b"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(SafeFileNamePart(row.name), row.safe) << (row.name ? row.name : "(null)");
}

} // namespace
