// The rule scanner's reader of single envelope values.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rules/rule_scan.h"
#include "support/base_log_capture.h"
#include "support/base_temp_dir.h"

namespace {

TEST(CRuleScanGetAFInfo, FirstLineOfTheLetterInBothModes)
{
    BaseTempDir dir;
    std::string af = dir.write("AFI1",
                               "SFirst\nSSecond\nT<a@x>\r\nF<>\nO<\nD>\nC<c@x\n"
                               "P=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=\n");
    const struct {
        char letter;
        bool raw, result;
        const char *value;
    } rows[] = {
        {'S', true, true, "First"}, {'S', false, true, "First"}, {'T', true, true, "<a@x>"},
        {'T', false, true, "a@x"}, {'F', true, true, "<>"},
        {'F', false, true, ""},            // nothing between the brackets
        {'O', false, true, ""},            // start past the end
        {'D', false, true, ""},            // end at the letter
        {'C', false, true, "c@x"},
        {'P', true, true, "\xC6\xFC\xCB\xDC"},   // decoded to the host code
        {'R', true, false, ""},            // no such line
        {'X', true, false, ""}, {'s', true, false, ""},   // not command letters
    };
    CRuleScan scan;
    for (const auto &row : rows) {
        std::string value = "old";
        EXPECT_EQ(scan.GetAFInfo(row.letter, af.c_str(), value, row.raw), row.result) << row.letter;
        EXPECT_EQ(value, row.value) << row.letter << row.raw;
    }
    std::string value = "old";
    EXPECT_FALSE(scan.GetAFInfo('S', "/nonexistent/AFI1", value, true));
    EXPECT_EQ(value, "");
}

TEST(CRuleScanGetAFInfo, WarnsOfAnEmptyValueInRawMode)
{
    BaseTempDir dir;
    std::string af = dir.write("AFI1", "S  \nSlater\n");
    CRuleScan scan;
    BaseLogCapture capture;
    std::string value = "old", raw = "old";
    EXPECT_TRUE(scan.GetAFInfo('S', af.c_str(), value, false));
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_TRUE(scan.GetAFInfo('S', af.c_str(), raw, true));
    EXPECT_EQ(value + raw, "");
    EXPECT_EQ(capture.lines(),
              (std::vector<std::string>{"GetAFInfo(): Warning! S command have no value."}));
}
} // namespace
