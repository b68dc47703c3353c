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
    std::string af = dir.write("AFI1", "SFirst\nSSecond\nT<a@x>\r\nF<>\nP=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=\n");
    const struct {
        char letter;
        bool raw, result;
        const char *value;
    } rows[] = {
        {'S', false, true, "First"}, {'T', true, true, "<a@x>"}, {'T', false, true, "a@x"},
        {'F', false, true, ""}, {'P', true, true, "\xC6\xFC\xCB\xDC"},   // decoded to the host code
        {'R', true, false, ""}, {'s', true, false, ""},                  // no such line, no letter
    };
    CRuleScan scan;
    for (const auto &row : rows) {
        std::string value = "old";
        EXPECT_EQ(scan.GetAFInfo(row.letter, af.c_str(), value, row.raw), row.result) << row.letter;
        EXPECT_EQ(value, row.value) << row.letter << row.raw;
    }
    std::string value = "old";
    EXPECT_FALSE(scan.GetAFInfo('S', "/nonexistent/AFI1", value, true) || !value.empty());
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
