// portwallTimeStamp and IsDST: the "Date:" value of generated mail.
//
// The zone suffix " %c%02u%02u" is computed from the C library's `timezone`
// (seconds west of UTC, standard time) as the gateway's other programs do:
//   sign    "+" when timezone < 0 (east of UTC), else "-"
//   hours   |timezone / 3600|, one more (east) or one less (west and UTC)
//           while daylight saving is in force
//   last    |timezone % 60|: a remainder in seconds, not the minutes, so a
//           half-hour zone shows "00" there (+05:30 is written "+0500")
// The hours go through an unsigned field: a zone at UTC with daylight saving
// in force gives 0 - 1 and prints 4294967295. Receivers of these mails rely
// on the stamp exactly as the rest of the gateway writes it, so none of this
// is corrected here.
#include "notify/time_stamp.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

// The zone suffix for the current `timezone` and daylight-saving state.
std::string zone_suffix()
{
    const long west = timezone;
    int hours = static_cast<int>(std::labs(west / 3600));
    if (IsDST())
        hours += west < 0 ? 1 : -1;
    const unsigned remainder = static_cast<unsigned>(std::labs(west % 60));
    char text[32];
    std::snprintf(text, sizeof text, " %c%02u%02u", west < 0 ? '+' : '-',
                  static_cast<unsigned>(hours), remainder);
    return text;
}

// asctime text of `when` without its trailing newline.
std::string asctime_text(const struct tm &when)
{
    char text[64] = "";
    if (!asctime_r(&when, text))
        return "";
    std::string result = text;
    while (!result.empty() && (result.back() == '\n' || result.back() == '\r'))
        result.pop_back();
    return result;
}

} // namespace

bool IsDST()
{
    const time_t now = time(nullptr);
    struct tm local {
    };
    if (!localtime_r(&now, &local))
        return false;
    return local.tm_isdst > 0;
}

int portwallTimeStamp(char *dst, int maxLen)
{
    if (!dst)
        return 0;
    const time_t now = time(nullptr);
    struct tm local {
    };
    localtime_r(&now, &local);

    char buffer[1024];
    std::string stamp;
    if (strftime(buffer, sizeof buffer, "%a, %d %b %Y %H:%M:%S", &local) > 0)
        stamp = std::string(buffer) + zone_suffix();
    else
        stamp = asctime_text(local);

    const size_t limit = maxLen > 0 ? static_cast<size_t>(maxLen) : 0;
    if (stamp.size() > limit)
        stamp.resize(limit);
    std::memcpy(dst, stamp.c_str(), stamp.size() + 1);
    return 0;
}
