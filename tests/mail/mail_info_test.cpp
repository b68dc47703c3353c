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

TEST(CMailInfo, DomainsGrowToTheLimitAndLongHostsAreCutInPlace)
{
    CMailInfo info;
    for (const char *view : {info.m_pszFrom, info.m_pszTo, info.m_pszCc, info.m_pszReplyTo,
                             info.m_pszSubject, info.m_pszEnvelopeTo, info.m_pszA,
                             info.m_pszEnvelopeFrom})
        EXPECT_EQ(view, nullptr);
    std::memset(info.m_bChecked, 1, sizeof info.m_bChecked);
    info.ClearCheckedFlag();
    EXPECT_EQ(std::string(info.m_bChecked, info.m_bChecked + sizeof info.m_bChecked),
              std::string(sizeof info.m_bChecked, '\0'));
    std::string longHost(600, 'h');
    info.AddDomain(&longHost[0]);
    EXPECT_EQ(std::strlen(longHost.c_str()), 511u);   // the caller's text too
    EXPECT_EQ(std::string(info.m_pDomain[0]), std::string(511, 'h'));
    info.AddDomain(nullptr);
    EXPECT_EQ(info.m_nDomainCount, 1);

    for (int i = 1; i < 130; ++i) {
        std::string host = "relay" + std::to_string(i) + ".example";
        info.AddDomain(&host[0]);
    }
    EXPECT_EQ(info.m_nDomainCount, 128);
    EXPECT_EQ(info.m_nDomainAlloc, 128);
    EXPECT_STREQ(info.m_pDomain[127], "relay127.example");
}

TEST(CMailInfo, AttachmentsGrowToTheLimitAndFieldsAreCutInPlace)
{
    CMailInfo info;
    std::string name(600, 'n');
    std::string type(200, 't');
    info.AddAttach(&name[0], &type[0]);
    EXPECT_EQ(std::strlen(name.c_str()), 511u);
    EXPECT_EQ(std::strlen(type.c_str()), 127u);
    EXPECT_EQ(std::strlen(info.m_pAttach[0]->m_szName), 511u);
    EXPECT_EQ(std::strlen(info.m_pAttach[0]->m_szContentType), 127u);

    info.AddAttach(nullptr, nullptr);   // ignored
    EXPECT_EQ(info.m_nAttachCount, 1);
    char onlyType[] = "text/plain";
    info.AddAttach(nullptr, onlyType);
    EXPECT_STREQ(info.m_pAttach[1]->m_szName, "");
    EXPECT_STREQ(info.m_pAttach[1]->m_szContentType, "text/plain");

    for (int i = 2; i < 140; ++i) {
        std::string file = "f" + std::to_string(i) + ".txt";
        info.AddAttach(&file[0], nullptr);
    }
    EXPECT_EQ(info.m_nAttachCount, 128);
    EXPECT_EQ(info.m_nAttachAlloc, 128);
    EXPECT_STREQ(info.m_pAttach[127]->m_szName, "f127.txt");
}

TEST(CMailInfo, ReusedAttachmentKeepsItsOtherFields)
{
    CMailInfo info;
    char first[] = "a.doc";
    info.AddAttach(first, nullptr);
    info.m_pAttach[0]->m_nEncoding = 4;
    info.m_pAttach[0]->m_nStart = 100;
    info.m_nAttachCount = 0;   // as the rule scanner does before a new walk
    char second[] = "b.doc";
    info.AddAttach(second, nullptr);
    EXPECT_STREQ(info.m_pAttach[0]->m_szName, "b.doc");
    EXPECT_EQ(info.m_pAttach[0]->m_nEncoding, 4);
    EXPECT_EQ(info.m_pAttach[0]->m_nStart, 100);
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
    std::strcpy(source.m_szContentType, "application/ms-tnef");
    source.m_nStart = 10;
    source.m_nEnd = 20;
    source.m_nEncoding = 4;
    source.m_bTnef = true;
    source.m_strTempFile = "/nonexistent/a";
    source.AddFileName("inner1.doc", false);
    source.AddFileName("inner2.xls", false);

    Attach_Stru copy;
    copy.AddFileName("kept.txt", false);
    copy = source;
    EXPECT_STREQ(copy.m_szName, "winmail.dat");
    EXPECT_STREQ(copy.m_szContentType, "application/ms-tnef");
    EXPECT_EQ(copy.m_nStart, 10);
    EXPECT_EQ(copy.m_nEnd, 20);
    EXPECT_EQ(copy.m_nEncoding, 0);
    EXPECT_FALSE(copy.m_bTnef);
    EXPECT_TRUE(copy.m_strTempFile.empty());
    EXPECT_EQ(Names(copy), (std::vector<std::string>{"kept.txt", "inner1.doc", "inner2.xls"}));

    Attach_Stru &same = copy;
    copy = same;   // must not loop appending its own list
    EXPECT_EQ(Names(copy).size(), 3u);
    source.m_strTempFile.clear();
}

TEST(Attach_Stru, AddFileNameCutsLongNamesAndMakesSafeTempPaths)
{
    g_t_strTEMPDIR = "/var/ov/tempdir";
    Attach_Stru attach;
    attach.AddFileName(std::string(1100, 'x').c_str(), true);
    EXPECT_EQ(attach.m_pTnefHead->m_strName.size(), 1023u);
    EXPECT_TRUE(attach.m_pTnefHead->m_strTempPath.empty());   // not TNEF yet

    attach.m_bTnef = true;
    attach.AddFileName("report.doc", true);
    attach.AddFileName("../../etc/passwd", true);
    attach.AddFileName("plain.txt", false);
    const CTnefFileName *node = attach.m_pTnefHead->m_pNext;
    EXPECT_EQ(node->m_strTempPath, "/var/ov/tempdirreport.doc");
    EXPECT_EQ(node->m_pNext->m_strName, "../../etc/passwd");
    EXPECT_EQ(node->m_pNext->m_strTempPath, "/var/ov/tempdir____etc_passwd");
    EXPECT_TRUE(node->m_pNext->m_pNext->m_strTempPath.empty());
    EXPECT_EQ(attach.m_pTnefTail, node->m_pNext->m_pNext);
    g_t_strTEMPDIR.clear();
}

TEST(Attach_Stru, ClearFileListDeletesEveryTemporaryFile)
{
    BaseTempDir dir;
    CMailInfo info;
    char name[] = "winmail.dat";
    info.AddAttach(name, nullptr);
    Attach_Stru &attach = *info.m_pAttach[0];
    attach.AddFileName("a.doc", false);
    attach.AddFileName("b.doc", false);
    attach.m_pTnefHead->m_strPath = dir.write("node-path", "1");
    attach.m_pTnefHead->m_strTempPath = dir.write("node-temp", "2");
    attach.m_pTnefTail->m_strTempPath = dir.write("tail-temp", "3");
    attach.m_strTempFile = dir.write("temp1", "4");
    attach.m_strTempFile2 = dir.write("temp2", "5");

    info.ClearAttachTnefFileList();
    for (const char *file : {"node-path", "node-temp", "tail-temp", "temp1", "temp2"})
        EXPECT_FALSE(FileExists(dir.path(file))) << file;
    EXPECT_EQ(attach.m_pTnefHead, nullptr);
    EXPECT_EQ(attach.m_pTnefTail, nullptr);
    EXPECT_TRUE(attach.m_strTempFile.empty());
    EXPECT_TRUE(attach.m_strTempFile2.empty());

    // The record's destruction removes what was added afterwards.
    std::string late = dir.write("late", "6");
    {
        Attach_Stru other;
        other.AddFileName("c.doc", false);
        other.m_pTnefHead->m_strTempPath = late;
    }
    EXPECT_FALSE(FileExists(late));
}

TEST(SafeFileNamePart, ReplacesSlashesAndParentReferences)
{
    struct {
        const char *name, *safe;
    } rows[] = {
        {"a.doc", "a.doc"}, {"../x", "__x"},  {"a/b", "a_b"},   {"..", "_"},
        {"...", "_."},      {"", "_"},        {nullptr, "_"},   {"a..b", "a_b"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(SafeFileNamePart(row.name), row.safe) << (row.name ? row.name : "(null)");
}

} // namespace
