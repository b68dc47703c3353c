// portwallTimeStamp and IsDST in several zones (POSIX TZ strings, so no zone
// database is needed; ",0/0,J365/25" keeps daylight saving in force all year).
#include <algorithm>
#include <ctime>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "notify/time_stamp.h"
#include "support/notify_fixtures.h"

namespace {

std::string stamp()
{
    char text[256];
    EXPECT_EQ(portwallTimeStamp(text, sizeof text - 1), 0);
    return text;
}

// The local time of now as portwallTimeStamp writes it, zone aside.
std::string local_now()
{
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char text[64];
    strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S", &local);
    return text;
}

TEST(TimeStamp, LocalTimeAndAZoneSuffixAfterTimezoneAndDaylightSaving)
{
    const struct {
        const char *zone;
        bool dst;
        std::string suffix;
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
    for (const auto &row : rows) {
        NotifyZoneGuard zone(row.zone);
        EXPECT_EQ(IsDST(), row.dst) << row.zone;
        const std::string before = local_now(), text = stamp(), after = local_now();
        EXPECT_TRUE(text == before + row.suffix || text == after + row.suffix)
            << row.zone << ": " << text;
    }
}

TEST(TimeStamp, MaxLenCutsTheText)
{
    NotifyZoneGuard zone("EST5");
    for (int maxLen : {0, 1, 5, 16, 25, 31}) {
        const std::string before = stamp();
        char cut[64];
        std::fill(std::begin(cut), std::end(cut), '#');
        EXPECT_EQ(portwallTimeStamp(cut, maxLen), 0);
        const std::string after = stamp();
        const size_t length = static_cast<size_t>(maxLen);
        EXPECT_TRUE(cut == before.substr(0, length) || cut == after.substr(0, length))
            << maxLen << ": " << cut;
        EXPECT_EQ(cut[maxLen + 1], '#') << "wrote past maxLen + 1 bytes";
    }
    EXPECT_EQ(portwallTimeStamp(nullptr, 10), 0);
}

} // namespace
