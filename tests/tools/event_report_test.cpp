// ovctl report: reading the event log's mail records back, counting them per
// day, and the HTML page, which a real browser (headless Chromium, when
// installed) must load and draw.
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

// Each read mail as "kind|date time|action|name|sender|data file".
std::vector<std::string> mail_lines(const std::vector<LoggedMail> &mails)
{
    std::vector<std::string> lines;
    for (const LoggedMail &m : mails)
        lines.push_back(std::to_string(static_cast<int>(m.kind)) + "|" + m.date + " " + m.time +
                        "|" + m.action + "|" + m.name + "|" + m.sender + "|" + m.dataFile);
    return lines;
}

TEST(EventLog, ReadsTheMailRecordsAfterTheirEvents)
{
    // The record without an event before it is read as one of unknown kind.
    const auto kind = [](LoggedKind k) {
        return std::to_string(static_cast<int>(k)) + "|2026-11-25 10:00:00|";
    };
    EXPECT_EQ(mail_lines(parse_event_log(day_log("11/25/2026"))),
              (std::vector<std::string>{
                  kind(LoggedKind::Rule) + "Delete|Known spammer|a@x.example|/s/DFIq1",
                  kind(LoggedKind::Rule) + "Quarantine|Rule\\with\\slash|a@x.example|/s/DFIq2",
                  kind(LoggedKind::Policy) + "Archive|Confidential||/s/DFOq3",
                  kind(LoggedKind::Attachments) +
                      "Attachment Removal (Replaced with text)|a.exe, b.scr|c@x.example|/s/DFIq4",
                  kind(LoggedKind::Other) + "Delete|Stray|d@x.example|/s/DFIq5",
              }));
}

TEST(EventLog, FileNamesGiveTheirDay)
{
    EXPECT_EQ(event_log_file_date("pwall.log.2026.11.05"), "2026-11-05");
    for (const char *name : {"pwall.log.2026.11.5", "pwall.log.2026.11.05.gz", "Debug-1.log",
                             "pwall.log.2026-11-05", "pwall.log.20x6.11.05"})
        EXPECT_EQ(event_log_file_date(name), "") << name;
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

TEST(EventReport, ReadsTheDaysWithinTheDates)
{
    BaseTempDir root;
    ASSERT_EQ(std::system(("mkdir -p " + ovctl_shell_quote(root.path("Plug-Ins/OV"))).c_str()), 0);
    for (const char *day : {"24", "25", "26"})
        root.write(std::string("Plug-Ins/OV/pwall.log.2026.11.") + day,
                   day_log(std::string("11/") + day + "/2026"));
    const struct {
        const char *since, *until;
        size_t days;
        const char *first;
    } cases[] = {
        {"", "", 3, "2026-11-24"},           {"2026-11-25", "", 2, "2026-11-25"},
        {"", "2026-11-24", 1, "2026-11-24"}, {"2026-11-25", "2026-11-25", 1, "2026-11-25"},
        {"2026-12-01", "", 0, ""},
    };
    for (const auto &c : cases) {
        EventReport report;
        std::string error;
        ASSERT_TRUE(read_event_report(root.dir(), c.since, c.until, &report, &error)) << error;
        EXPECT_EQ(report.days.size(), c.days) << c.since << ".." << c.until;
        if (c.days) {
            EXPECT_EQ(report.days.begin()->first, c.first);
        }
        EXPECT_EQ(report.total.blocked, static_cast<int>(3 * c.days));
    }
    OvctlRun run = run_ovctl({"report", "--root", root.dir(), "--since", "2026-11-26", "--json"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(run.output.find("{\"days\": [\n  {\"date\": \"2026-11-26\", \"blocked\": 3,"), 0u)
        << run.output;
    expect_ovctl_cases({{{"report", "--root", root.dir(), "--since", "25.11.2026"}, 2, ""},
                        {{"report", "--root", root.path("none")}, 1, ""}});
}

EventReport hostile_report()
{
    EventReport report;
    std::string log;
    for (int day = 1; day <= 9; ++day) {
        std::string stamp = "11/0" + std::to_string(day) + "/2026";
        for (int i = 0; i < day; ++i)
            log += logged(stamp, i % 2 ? kPolicyEvent : kRuleEvent,
                          std::string("Inbound\\") +
                              (i % 3 == 0   ? "Delete"
                               : i % 3 == 1 ? "Quarantine"
                                            : "Archive") +
                              "\\<script>alert(1)</script> & \"r" + std::to_string(i % 4) +
                              "\xE9\"\\s" + std::to_string(i) + "@x.example\\/s/DF");
    }
    add_event_log(log, "", "", &report);
    return report;
}

TEST(ReportHtml, IsSelfContainedAndEscapesLogText)
{
    const std::string page = report_html(hostile_report(), "2026-11-01", "");
    for (const char *outside : {"<script", "src=", "href=", "url("})
        EXPECT_EQ(page.find(outside), std::string::npos) << outside;
    EXPECT_NE(page.find("&lt;script&gt;alert(1)&lt;/script&gt; &amp; &quot;r0\xEF\xBF\xBD&quot;"),
              std::string::npos);
    EXPECT_NE(page.find("id=\"blocked-per-day\""), std::string::npos);
    EXPECT_NE(page.find("id=\"top-triggers\""), std::string::npos);
}

// Runs headless Chromium on the page with one more option (--dump-dom,
// --screenshot=...); its standard output and its log go to files in `dir`.
int run_chromium(const BaseTempDir &dir, const std::string &page, const std::string &option)
{
    std::string command =
        "timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-background-networking"
        " --disable-component-update --disable-sync --no-first-run --enable-logging=stderr"
        " --window-size=900,1200 --user-data-dir=" +
        ovctl_shell_quote(dir.path("profile")) + " " + ovctl_shell_quote(option) + " " +
        ovctl_shell_quote("file://" + page) + " >" + ovctl_shell_quote(dir.path("stdout")) +
        " 2>>" + ovctl_shell_quote(dir.path("log"));
    return std::system(command.c_str());
}

TEST(ReportHtml, LoadsAndDrawsInHeadlessChromium)
{
    if (std::system("command -v chromium >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "chromium is not installed (apt-get install chromium): page not rendered";
    BaseTempDir dir;
    const EventReport report = hostile_report();
    const std::string page = dir.write("report.html", report_html(report, "", ""));

    ASSERT_EQ(run_chromium(dir, page, "--dump-dom"), 0) << ReadFile(dir.path("log"));
    const std::string dom = ReadFile(dir.path("stdout"));
    EXPECT_NE(dom.find("<svg xmlns=\"http://www.w3.org/2000/svg\" id=\"blocked-per-day\""),
              std::string::npos)
        << dom.substr(0, 2000);
    EXPECT_NE(dom.find("id=\"top-triggers\""), std::string::npos);
    // Every action of every day is one bar, plus the three legend boxes.
    size_t bars = 0;
    for (const auto &day : report.days)
        bars += day.second.byAction.size();
    const size_t triggerBars = report.total.byRule.size() + report.total.byPolicy.size();
    size_t rects = 0;
    for (size_t at = 0; (at = dom.find("<rect ", at)) != std::string::npos; ++at)
        ++rects;
    EXPECT_EQ(rects, bars + 3 + triggerBars);

    const char *kept = std::getenv("OV_REPORT_SCREENSHOT");
    const std::string shot = kept && *kept ? kept : dir.path("report.png");
    ASSERT_EQ(run_chromium(dir, page, "--screenshot=" + shot), 0)
        << ReadFile(dir.path("log"));
    const std::string png = ReadFile(shot);
    EXPECT_EQ(png.compare(0, 8, "\x89PNG\r\n\x1a\n"), 0) << "no screenshot at " << shot;
    EXPECT_GT(png.size(), 10000u) << "an empty page?";

    // The page logs nothing to the console and loads nothing from outside.
    const std::string log = ReadFile(dir.path("log"));
    EXPECT_EQ(log.find(":CONSOLE("), std::string::npos) << log;
    EXPECT_EQ(log.find("Uncaught"), std::string::npos) << log;
    EXPECT_EQ(log.find("net::ERR_"), std::string::npos) << log;
}

} // namespace
