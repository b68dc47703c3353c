// portwallTimeStamp and IsDST in several zones (POSIX TZ strings, so no zone
// database is needed; ",0/0,J365/25" keeps daylight saving in force all year).
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "notify/time_stamp.h"
#include "support/notify_fixtures.h"

namespace {

const char kFormat[] = "%a, %d %b %Y %H:%M:%S"; // the zone follows

TEST(TimeStamp, LocalTimeAndZoneSuffixCutAtMaxLen)
{
    const struct {
        const char *zone;
        bool dst;
        std::string suffix;
        int maxLen;
    } rows[] = {
        {"EST5", false, " -0500", 255},               // five hours west
        {"EST5EDT,0/0,J365/25", true, " -0400", 255}, // the same with daylight saving
        {"JST-9", false, " +0900", 255},
        {"CET-1CEST,0/0,J365/25", true, " +0200", 255}, // east: one hour more
        {"IST-5:30", false, " +0500", 255},             // the half hour is not shown
        {"NST3:30NDT,0/0,J365/25", true, " -0200", 255},
        {"UTC0", false, " -0000", 255},
        // At UTC with daylight saving the hour count 0 - 1 wraps through the
        // unsigned field.
        {"GMT0BST,0/0,J365/25", true, " -429496729500", 255},
        {"EST5", false, " -0500", 0},  {"EST5", false, " -0500", 1},
        {"EST5", false, " -0500", 5},  {"EST5", false, " -0500", 16},
        {"EST5", false, " -0500", 25}, {"EST5", false, " -0500", 31},
    };
    const char *zone = std::getenv("TZ");
    const std::string savedZone = zone ? zone : "";
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.zone) + " " + std::to_string(row.maxLen));
        setenv("TZ", row.zone, 1);
        tzset();
        EXPECT_EQ(IsDST(), row.dst);
        char text[300];
        std::fill(std::begin(text), std::end(text), '#');
        const std::string before = NotifyLocalNow(kFormat) + row.suffix;
        EXPECT_EQ(portwallTimeStamp(text, row.maxLen), 0);
        const std::string after = NotifyLocalNow(kFormat) + row.suffix;
        const size_t length = static_cast<size_t>(row.maxLen);
        EXPECT_TRUE(before.substr(0, length) == text || after.substr(0, length) == text) << text;
        EXPECT_EQ(text[row.maxLen + 1], '#') << "wrote past maxLen + 1 bytes";
    }
    EXPECT_EQ(portwallTimeStamp(nullptr, 10), 0);
    zone ? setenv("TZ", savedZone.c_str(), 1) : unsetenv("TZ");
    tzset();
}

} // namespace
