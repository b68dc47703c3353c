// The scan entry points: which policies a mail's text matches or is excused
// from, through ZWContScanInit / ZWContScanScanFile / ZWContScanCleanUp.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "contscan/content_scan.h"
#include "contscan/policy.h"
#include "support/contscan_fixtures.h"

namespace
{

struct SetDeleter {
    void operator()(POLICYSET *set) const { ZWContScanCleanUp(set); }
};

class ScanFixture
{
public:
    ScanFixture(const std::vector<std::string> &tokens, const std::string &settings = "")
    {
        std::string policy = m_dir.write("CsConfig.dat", PolicyFileText(tokens));
        std::string ini = m_dir.write("contscan.ini", settings);
        m_set.reset(ZWContScanInit(policy.c_str(), ini.c_str()));
    }

    POLICYSET *set() { return m_set.get(); }

    // Scans text as the file `name` (in memory, or from an open file when
    // asked); returns "name:flags" per policy ("m" matched, "n" no action).
    std::vector<std::string> Scan(const std::string &text, const std::string &name = "DFI1234",
                                  bool inMemory = false, int *result = nullptr, bool stream = false)
    {
        std::string path = m_dir.write(name, inMemory ? "" : text);
        std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
        membuf->m_bInMemory = inMemory;
        text.copy(membuf->m_szData, sizeof membuf->m_szData - 1);
        std::vector<_POLICY_MATCH_INFO> entries;
        for (POLICY_STRU *p = m_set->m_pFirstPolicy; p; p = p->m_pNext)
            entries.push_back(_POLICY_MATCH_INFO{p, 0, 0, nullptr});
        for (size_t i = 0; i + 1 < entries.size(); ++i)
            entries[i].m_pNext = &entries[i + 1];
        _POLICY_MATCH_INFO *list = entries.empty() ? nullptr : &entries[0];
        std::unique_ptr<FILE, int (*)(FILE *)> file(std::tmpfile(), std::fclose);
        if (!inMemory)
            std::fwrite(text.data(), 1, text.size(), file.get());
        const int rc = stream ? ACStreamStringSearch(m_set.get(), membuf.get(), file.get(), MailDirectionOf(path.c_str()), list)
                              : ZWContScanScanFile(m_set.get(), membuf.get(), &path[0], list);
        if (result)
            *result = rc;
        std::vector<std::string> flags;
        for (const _POLICY_MATCH_INFO &e : entries)
            flags.push_back(std::string(e.m_pPolicy->m_szName) + ":" + (e.m_nMatched ? "m" : "") + (e.m_nNoAction ? "n" : ""));
        return flags;
    }

private:
    BaseTempDir m_dir;
    std::unique_ptr<POLICYSET, SetDeleter> m_set;
};

using Flags = std::vector<std::string>;

TEST(ContentScan, ListsCombineWithAndPoliciesWithOr)
{
    struct ScanCase {
        const char *name;
        std::vector<std::string> tokens;
        std::string settings, text, file;
        Flags expected;
    };
    const std::vector<std::string> freeMoney = {"shP", "whfree", "wdmoney"};
    // clang-format off
    const ScanCase cases[] = {
        {"both keywords", freeMoney, "", "Get free money now", "DFI1", {"P:m"}},
        {"only one keyword", freeMoney, "", "free lunch", "DFI1", {"P:"}},
        {"a keyword split by a newline", freeMoney, "", "free mo\nney", "DFI1", {"P:"}},
        {"any list of a policy", {"shP", "whfree", "wdmoney", "whwin"}, "", "you win", "DFI1", {"P:m"}},
        {"a synonym stands for its keyword", {"shP", "se=t", "whfree", "wdmoney", "symoolah"}, "", "free moolah", "DFI1", {"P:m"}},
        {"an empty synonym is harmless", {"shP", "se=t", "whfree", "sy"}, "", "free", "DFI1", {"P:m"}},
        {"a no-action keyword excuses the policy", {"shP", "whfree", "ewinternal"}, "", "internal: free", "DFI1", {"P:n"}},
        {"outbound file skips inbound-only policy", freeMoney, "[P]\nOutboundMailScan=no\n", "free money", "DFO1", {"P:"}},
        {"lower-case o is outbound too", freeMoney, "[P]\nOutboundMailScan=no\n", "free money", "DFo1", {"P:"}},
        {"inbound-disabled policy, outbound mail", freeMoney, "[P]\nInboundMailScan=no\n", "free money", "AFO1", {"P:m"}},
        {"disabled policy gets no flag", {"shP", "pe=f", "whfree", "ewfree"}, "", "free", "DFI1", {"P:"}},
        {"policies are judged apart", {"shA", "whfree", "ewignore", "shB", "whfree", "shC", "whmoney"}, "", "free ignore", "DFI1", {"A:n", "B:m", "C:"}},
        {"exact matching", freeMoney, "[Content Filter]\nExactMatch=yes\n", "freedom money", "DFI1", {"P:"}},
        {"exact matching, whole words", freeMoney, "[Content Filter]\nExactMatch=yes\n", "(free) money!", "DFI1", {"P:m"}},
        {"case sensitive", {"shP", "whFree"}, "[Content Filter]\nCaseSensitive=yes\n", "free", "DFI1", {"P:"}},
    };
    // clang-format on
    for (const ScanCase &c : cases) {
        ScanFixture scan(c.tokens, c.settings);
        ASSERT_NE(scan.set(), nullptr) << c.name;
        for (int mode = 0; mode < 4; ++mode)   // file, memory, open file, memory and open file
            EXPECT_EQ(scan.Scan(c.text, c.file, mode & 1, nullptr, mode & 2), c.expected)
                << c.name << " mode " << mode;
    }
}

TEST(ContentScan, ResultCodes)
{
    ScanFixture scan({"shP", "whfree", "ewinternal", "shQ", "pe=f"});
    ASSERT_NE(scan.set(), nullptr);
    int matched = 9, excused = 9;
    scan.Scan("free", "DFI1", false, &matched);
    scan.Scan("internal free", "DFI1", false, &excused);
    EXPECT_EQ(matched * 10 + excused, 10);   // excused: no enabled policy left to judge

    MEMBUF membuf{};
    _POLICY_MATCH_INFO info{scan.set()->m_pFirstPolicy, 0, 0, nullptr};
    char missing[] = "/nonexistent/DFI1";
    EXPECT_EQ(ZWContScanScanFile(nullptr, &membuf, missing, &info), -1);
    EXPECT_EQ(ZWContScanScanFile(scan.set(), &membuf, nullptr, &info), -1);
    EXPECT_EQ(ZWContScanScanFile(scan.set(), &membuf, missing, &info), -ENOENT);
    membuf.m_bInMemory = 1;
    EXPECT_EQ(ZWContScanScanFile(scan.set(), &membuf, missing, &info), -ENOENT);
    EXPECT_EQ(ACFileStringSearch(nullptr, &membuf, missing, CS_MAIL_INBOUND, &info), -1);
    EXPECT_EQ(ACStreamStringSearch(scan.set(), &membuf, nullptr, CS_MAIL_INBOUND, &info), -1);
}

TEST(ContentScan, InitRefusesWhatIsNotAPolicyFile)
{
    BaseTempDir dir;
    std::string ini = dir.write("contscan.ini", "");
    EXPECT_EQ(ZWContScanInit(dir.path("missing").c_str(), ini.c_str()), nullptr);
    EXPECT_EQ(ZWContScanCleanUp(nullptr), 1);

    POLICYSET *set = ZWContScanInit(dir.write("empty.dat", "CsConfig.dat2\t").c_str(), ini.c_str());   // no policy at all
    ASSERT_TRUE(set && set->m_pKeywordTree);
    std::string text = dir.write("DFI1", "anything\n");
    EXPECT_EQ(ZWContScanScanFile(set, nullptr, &text[0], nullptr), 0);
    EXPECT_EQ(ZWContScanCleanUp(set), 1);
}

} // namespace
