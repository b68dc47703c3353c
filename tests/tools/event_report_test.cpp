// ovctl report: reading the event log's mail records back, counting them per
// day, and the HTML page that escapes what the log holds.
#include "tools/hostkit/event_log_reader.h"
#include "tools/ovctl/event_report.h"
#include "tools/ovctl/report_html.h"
#include "tools/ovctl_cases.h"

namespace
{

const char kRuleEvent[] =
    "CONTENT_MANAGEMENT[42]: CONTENT MANAGEMENT: Anti-Spam filter has blocked a junk mail.";
const char kPolicyEvent[] =
    "CONTENT_MANAGEMENT[42]: CONTENT MANAGEMENT: Content filter has blocked a sensitive mail.";
const char kRemovalEvent[] = "CONTENT_MANAGEMENT[42]: CONTENT MANAGEMENT: An attachment file in "
                             "the message has been removed by Content Management!";

// Two lines of the log for one mail on `day` ("11/25/2026").
std::string logged(const std::string &day, const char *event, const std::string &record)
{
    return day + " 10:00:00 " + event + "\r\n" + "EMAIL\\" + day + " 10:00:00\\" + record + "\r\n";
}

std::string day_log(const std::string &day)
{
    return day + " 09:00:00 CONTENT_MANAGEMENT[42]: Daily Log, Version: 3.8_Linux_Build_1036\n" +
           logged(day, kRuleEvent, "Inbound\\Delete\\Known spammer\\a@x.example\\/s/DFIq1") +
           logged(day, kRuleEvent,
                  "Inbound\\Quarantine\\Rule\\with\\slash\\a@x.example\\/s/DFIq2") +
           logged(day, kPolicyEvent, "Outbound\\Archive\\Confidential\\\\/s/DFOq3") +
           logged(day, kRemovalEvent,
                  "Inbound\\Attachment Removal (Replaced with text)\\a.exe, "
                  "b.scr\\c@x.example\\/s/DFIq4") +
           // Not counted: no event before it; not read: a broken stamp, too few fields.
           "EMAIL\\" + day + " 10:00:00\\Inbound\\Delete\\Stray\\d@x.example\\/s/DFIq5\n" +
           kRuleEvent + "\nEMAIL\\99/99/2026 10:00\\Inbound\\Delete\\Bad\\d@x.example\\/s/DFIq6\n" +
           kRuleEvent + "\nEMAIL\\" + day + " 10:00:00\\Inbound\\Delete\\d@x.example\n";
}

TEST(EventReport, CountsPerDayAndInTotal)
{
    EventReport report;
    add_event_log(day_log("11/24/2026") + day_log("11/25/2026"), "", "", &report);
    ASSERT_EQ(report.days.size(), 2u);
    const DayCounts &day = report.days.at("2026-11-25");
    EXPECT_EQ(day.blocked, 3);
    EXPECT_EQ(day.byAction, (Counts{{"Archive", 1}, {"Delete", 1}, {"Quarantine", 1}}));
    EXPECT_EQ(day.byRule, (Counts{{"Known spammer", 1}, {"Rule\\with\\slash", 1}}));
    EXPECT_EQ(day.byPolicy, (Counts{{"Confidential", 1}}));
    EXPECT_EQ(day.attachmentMails, 1);
    EXPECT_EQ(day.attachments, 2);
    EXPECT_EQ(day.senders, (Counts{{"<>", 1}, {"a@x.example", 2}}));
    EXPECT_EQ(report.total.blocked, 6);
    EXPECT_EQ(report.total.senders.at("a@x.example"), 4);
    EXPECT_EQ(top_counts(report.total.senders, 1),
              (std::vector<std::pair<std::string, int>>{{"a@x.example", 4}}));
}

TEST(ReportHtml, IsSelfContainedAndEscapesLogText)
{
    EventReport report;
    add_event_log(logged("11/01/2026", kRuleEvent,
                         "Inbound\\Delete\\<script>alert(1)</script> & \"r0\xE9\"\\s@x.example\\/s/DF"),
                  "", "", &report);
    const std::string page = report_html(report, "2026-11-01", "");
    for (const char *outside : {"<script", "src=", "href=", "url("})
        EXPECT_EQ(page.find(outside), std::string::npos) << outside;
    EXPECT_NE(page.find("&lt;script&gt;alert(1)&lt;/script&gt; &amp; &quot;r0\xEF\xBF\xBD&quot;"),
              std::string::npos);
}

} // namespace
