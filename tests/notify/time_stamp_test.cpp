// portwallTimeStamp and IsDST in several zones (POSIX TZ strings, so no zone
// database is needed; ",0/0,J365/25" keeps daylight saving in force all year).
#include <algorithm>
#include <ctime>
#include <iterator>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "notify/time_stamp.h"
#include "support/notify_fixtures.h"

namespace {

TEST(TimeStamp, ZoneSuffixFollowsTimezoneAndDaylightSaving)
{
    struct Row {
        const char *zone;
        bool dst;
        const char *suffix;
    } rows[] = {
        {"EST5", false, " -0500"},               // five hours west
        {"EST5EDT,0/0,J365/25", true, " -0400"}, // the same with daylight saving
        {"JST-9", false, " +0900"},
        {"CET-1CEST,0/0,J365/25", true, " +0200"}, // east: one hour more
        {"IST-5:30", false, " +0500"},             // the half hour is not shown
        {"NST3:30NDT,0/0,J365/25", true, " -0200"},
        {"UTC0", false, " -0000"},
        // At UTC with daylight saving the hour count 0 - 1 wraps through the
        // unsigned field.
        {"GMT0BST,0/0,J365/25", true, " -429496729500"},
    };
    for (const Row &row : rows) {
        NotifyZoneGuard zone(row.zone);
        EXPECT_EQ(IsDST(), row.dst) << row.zone;
        char stamp[256];
        EXPECT_EQ(portwallTimeStamp(stamp, sizeof stamp - 1), 0);
        const std::string text = stamp;
        const std::string suffix = row.suffix;
        ASSERT_GT(text.size(), suffix.size()) << row.zone;
        EXPECT_EQ(text.substr(text.size() - suffix.size()), suffix) << row.zone << ": " << text;
        EXPECT_TRUE(std::regex_match(
            text.substr(0, text.size() - suffix.size()),
            std::regex(R"([A-Z][a-z]{2}, \d\d [A-Z][a-z]{2} \d{4} \d\d:\d\d:\d\d)")))
            << text;
    }
}

TEST(TimeStamp, DatePartIsTheLocalTime)
{
    NotifyZoneGuard zone("JST-9");
    const time_t before = time(nullptr);
    char stamp[256];
    portwallTimeStamp(stamp, sizeof stamp - 1);
    const time_t after = time(nullptr);
    std::string expected[2];
    const time_t moments[2] = {before, after};
    for (int i = 0; i < 2; ++i) {
        struct tm local {
        };
        localtime_r(&moments[i], &local);
        char text[64];
        strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S +0900", &local);
        expected[i] = text;
    }
    EXPECT_TRUE(stamp == expected[0] || stamp == expected[1]) << stamp;
}

std::string full_stamp()
{
    char text[256];
    portwallTimeStamp(text, sizeof text - 1);
    return text;
}

TEST(TimeStamp, MaxLenCutsTheText)
{
    NotifyZoneGuard zone("EST5");
    for (int maxLen : {0, 1, 5, 16, 25, 31}) {
        const std::string before = full_stamp();
        char cut[64];
        std::fill(std::begin(cut), std::end(cut), '#');
        EXPECT_EQ(portwallTimeStamp(cut, maxLen), 0);
        const std::string after = full_stamp();
        const size_t length = static_cast<size_t>(maxLen);
        EXPECT_TRUE(cut == before.substr(0, length) || cut == after.substr(0, length))
            << maxLen << ": " << cut;
        EXPECT_EQ(cut[maxLen + 1], '#') << "wrote past maxLen + 1 bytes";
    }
    EXPECT_EQ(portwallTimeStamp(nullptr, 10), 0);
}

} // namespace
