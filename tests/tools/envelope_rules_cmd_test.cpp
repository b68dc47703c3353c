// ovctl envelope and ovctl rules test on generated envelope and data files.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/tools_ovctl.h"

namespace {

TEST(OvctlEnvelope, PrintsStoredValuesAndRecipients)
{
    BaseTempDir tmp;
    std::string full = tmp.write("AFI1", "R1038738600\nSHello\nF<s@x>\nT<a@y>\nT<b@y>\nT<a@y>\n"
                                         "X1\nC\nO=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=\n");
    std::string bare = tmp.write("AFI2", "Shi\n");
    const struct {
        std::vector<std::string> words;
        int status;
        std::string output;
    } rows[] = {
        {{"envelope", full}, 0,
         "F\t<s@x>\nT\t<a@y>\nO\t\xC6\xFC\xCB\xDC\nS\tHello\nR\t1038738600\n"
         "recipients\t<a@y>,<b@y>\n"},
        {{"envelope", bare}, 0, "S\thi\n"},
        {{"envelope"}, 2, "usage: ovctl envelope AF\n"},
        {{"envelope", tmp.path("missing")}, 1, ""},
    };
    for (const auto &row : rows) {
        OvctlRun run = run_ovctl(row.words);
        EXPECT_EQ(run.status, row.status) << row.words.back();
        if (row.status == 1)
            EXPECT_EQ(run.output.rfind("ovctl: ", 0), 0u) << run.output;
        else
            EXPECT_EQ(run.output, row.output) << row.words.back();
    }
}

TEST(OvctlRulesTest, EvaluatesASentenceOnTheEnvelope)
{
    BaseTempDir tmp;
    std::string af = tmp.write("AFI1", "F<s@x>\nO<from@example.com>\nSFree offer\nR1038738600\n");
    tmp.write("DFI1", std::string(300, 'x'));
    std::string lone = tmp.write("AFI2", "SFree offer\n");   // no DF beside it
    const struct {
        std::string sentence;
        std::string af;
        int status;
        std::string output;
    } rows[] = {
        {R"(SUBJ=I"free offer")", af, 0, "match\n"},
        {R"(SUBJ="free offer")", af, 0, "no match\n"},
        {R"(FROM=S"example.com",SIZE=300)", af, 0, "match\n"},
        {"SIZE>299", af, 0, "match\n"},
        {"SIZE>0", lone, 0, "no match\n"},
        {R"(FROM="<s@x>")", af, 0, "match\n"},        // raw envelope values
        {R"(SUBJ="x"y)", af, 1, "ovctl: Sentence Syntax Error!\n"},
        {"", af, 1, "ovctl: Sentence Syntax Error!\n"},
    };
    for (const auto &row : rows) {
        OvctlRun run = run_ovctl({"rules", "test", row.sentence, row.af});
        EXPECT_EQ(run.status, row.status) << row.sentence;
        EXPECT_EQ(run.output, row.output) << row.sentence;
    }
    EXPECT_EQ(run_ovctl({"rules", "test", "SIZE>1"}).status, 2);
    EXPECT_EQ(run_ovctl({"rules", "frobnicate"}).status, 2);
    EXPECT_EQ(run_ovctl({"rules", "test", "SIZE>1", tmp.path("missing")}).status, 1);
}

} // namespace
