// Cost of judging one mail with CRuleScan::Scan as the rule set grows: 10,
// 1000 and 10000 rules that do not match (so every rule is tried) on a fixed
// mail with relay hosts and two attachments, with a specialized filter of a
// few rules. The baseline reads the same message file whole, so the ratio
// Scan / read shows what the scan adds on this machine; items/s is mails per
// second.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "mail/mail_info.h"
#include "rules/rule_scan.h"
#include "sfilter/sfrule_file.h"

namespace {

const char kMessage[] =
    "Received: from relay.example.org (relay [192.0.2.7])\r\n"
    "\tby mx.example.net with ESMTP id 42\r\n"
    "Received: from client.example.org by relay.example.org\r\n"
    "From: alice@example.org\r\n"
    "To: bob@example.net, carol@example.net\r\n"
    "Subject: quarterly figures\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=\"XYZ\"\r\n"
    "\r\n"
    "--XYZ\r\n"
    "Content-Type: text/plain\r\n"
    "\r\n"
    "Please find the figures attached.\r\n"
    "--XYZ\r\n"
    "Content-Type: application/octet-stream; name=\"setup.exe\"\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "\r\n"
    "TVqQAAMAAAAEAAAA//8AALgAAAAAAAAAQAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\r\n"
    "--XYZ\r\n"
    "Content-Type: application/pdf; name=\"figures.pdf\"\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "\r\n"
    "JVBERi0xLjQKJcfsj6IKNSAwIG9iago8PC9MZW5ndGggNiAwIFIvRmlsdGVyIC9GbGF0ZURlY29kZT4+\r\n"
    "--XYZ--\r\n";

// A rule of one of several shapes that the mail above does not match.
std::string rule_line(int n)
{
    const std::string id = std::to_string(n);
    switch (n % 6) {
    case 0:
        return "r" + id + "\\C\\SUBJ=I\"offer " + id + "\"\\DEL";
    case 1:
        return "r" + id + "\\C\\FROM=IS\"*@spam" + id + ".example,*promo" + id + "*\"\\QUAR";
    case 2:
        return "r" + id + "\\C\\DOM=\"host" + id + ".example\"\\ARCH";
    case 3:
        return "r" + id + "\\C\\SIZE>" + std::to_string(10000000 + n) + "\\DEL";
    case 4:
        return "r" + id + "\\C\\ATTACH=I\".vb" + id + ":application\"\\DEL";
    default:
        return "r" + id + "\\C\\TO=\"x" + id + "@example.net\",SUBJ=S\"*win*\"\\QUAR";
    }
}

struct Fixture {
    explicit Fixture(int rules)
    {
        char pattern[] = "/tmp/ovbenchXXXXXX";
        dir = mkdtemp(pattern) ? pattern : "/tmp";
        af = dir + "/AFI0001";
        df = dir + "/DFI0001";
        write(af, "Falice@example.org\nTbob@example.net\nSquarterly figures\n"
                  "Oalice@example.org\nDbob@example.net, carol@example.net\n");
        write(df, kMessage);
        std::string text;
        for (int n = 0; n < rules; ++n)
            text += rule_line(n) + "\n";
        write(dir + "/spamrule.txt", text);
        scan.Initialize((dir + "/spamrule.txt").c_str());

        std::vector<tagSFRuleContent> sfRules(3);
        sfRules[0].name = "scripts";
        sfRules[0].attach = "*.vbs *.js";
        sfRules[1].name = "programs";
        sfRules[1].attach = "*.exe *.com *.scr";
        sfRules[1].from = "*@partner.example";
        sfRules[1].includeText = "EXCLUDE";
        sfRules[2].name = "media";
        sfRules[2].mime = "video/ audio/";
        c_special_filter_savor savor;
        savor.SaveRuleFile(sfRules, (dir + "/SFRule.txt").c_str());
        scan.LoadSFilterSetting((dir + "/SFRule.txt").c_str(), nullptr);
        text_buffer.reset(new MEMBUF());
    }
    ~Fixture()
    {
        for (const char *name : {"/AFI0001", "/DFI0001", "/spamrule.txt", "/SFRule.txt", "/text"})
            std::remove((dir + name).c_str());
        rmdir(dir.c_str());
    }
    static void write(const std::string &path, const std::string &text)
    {
        std::ofstream(path, std::ios::binary) << text;
    }

    std::string dir, af, df;
    CRuleScan scan;
    std::unique_ptr<MEMBUF> text_buffer;
};

void BM_ReadMessage(benchmark::State &state)
{
    Fixture fixture(0);
    for (auto _ : state) {
        std::ifstream in(fixture.df, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadMessage);

void BM_Scan(benchmark::State &state)
{
    Fixture fixture(static_cast<int>(state.range(0)));
    const std::string textFile = fixture.dir + "/text";
    bool matched = false;
    for (auto _ : state) {
        CMailInfo info;
        info.ParseAFInfo(fixture.af.c_str(), true);
        info.m_nMailSize = static_cast<int>(sizeof kMessage - 1);
        Replace_Stru replace;
        std::string name, sentence, action;
        TriggerType trigger = TRIGGER_ADMIN;
        matched = fixture.scan.Scan(fixture.af.c_str(), fixture.df.c_str(), name, sentence, action,
                                    trigger, info, fixture.text_buffer.get(), textFile.c_str(),
                                    &replace);
        benchmark::DoNotOptimize(matched);
    }
    state.counters["rules"] = static_cast<double>(state.range(0));
    state.counters["matched"] = matched ? 1 : 0;
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Scan)->Arg(10)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

} // namespace
