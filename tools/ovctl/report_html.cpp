#include "tools/ovctl/report_html.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "tools/hostkit/json_text.h"

namespace {

const char *const kActions[] = {"Delete", "Quarantine", "Archive"};
const char *const kActionColours[] = {"#c0392b", "#e67e22", "#2980b9"};
const char kOtherColour[] = "#7f8c8d";
const size_t kTopEntries = 10;

std::string escaped(const std::string &text)
{
    std::string out;
    for (char c : valid_utf8(text)) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&#39;"; break;
        default: out += c;
        }
    }
    return out;
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

const char *action_colour(const std::string &action)
{
    for (size_t i = 0; i < 3; ++i) {
        if (action == kActions[i])
            return kActionColours[i];
    }
    return kOtherColour;
}

// The actions in chart order: the three known ones, then any other.
std::vector<std::string> chart_actions(const EventReport &report)
{
    std::vector<std::string> actions(std::begin(kActions), std::end(kActions));
    for (const auto &entry : report.total.byAction) {
        if (std::find(actions.begin(), actions.end(), entry.first) == actions.end())
            actions.push_back(entry.first);
    }
    return actions;
}

std::string rect(double x, double y, double width, double height, const char *colour,
                 const std::string &title)
{
    return "<rect x=\"" + number(x) + "\" y=\"" + number(y) + "\" width=\"" + number(width) +
           "\" height=\"" + number(height) + "\" fill=\"" + colour + "\"><title>" +
           escaped(title) + "</title></rect>\n";
}

std::string text_at(double x, double y, const char *anchor, const std::string &text,
                    const char *extra = "")
{
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" text-anchor=\"" + anchor +
           "\"" + extra + ">" + escaped(text) + "</text>\n";
}

// A label that fits left of the bars: at most 40 characters, "..." after a cut.
std::string short_label(const std::string &text)
{
    const std::string valid = valid_utf8(text);
    size_t characters = 0, at = 0;
    for (; at < valid.size(); ++at) {
        if ((static_cast<unsigned char>(valid[at]) & 0xC0) != 0x80 && ++characters > 40)
            break;
    }
    return at < valid.size() ? valid.substr(0, at) + "..." : valid;
}

std::string blocked_per_day_chart(const EventReport &report)
{
    const double width = 720, height = 300, left = 48, right = 16, top = 16, bottom = 64;
    const double plotWidth = width - left - right, plotHeight = height - top - bottom;
    int most = 1;
    for (const auto &day : report.days)
        most = std::max(most, day.second.blocked);
    const size_t count = std::max<size_t>(1, report.days.size());
    const double slot = plotWidth / static_cast<double>(count);
    const double barWidth = std::min(48.0, slot * 0.7);
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" id=\"blocked-per-day\" "
                      "role=\"img\" width=\"" + number(width) + "\" height=\"" + number(height) +
                      "\" viewBox=\"0 0 " + number(width) + " " + number(height) + "\">\n";
    svg += "<title>Blocked mails per day by action</title>\n";
    for (int tick : std::set<int>{0, (most + 1) / 2, most}) {
        double y = top + plotHeight - plotHeight * tick / most;
        svg += "<line x1=\"" + number(left) + "\" x2=\"" + number(width - right) + "\" y1=\"" +
               number(y) + "\" y2=\"" + number(y) + "\" stroke=\"#ddd\"/>\n";
        svg += text_at(left - 6, y + 4, "end", std::to_string(tick));
    }
    const std::vector<std::string> actions = chart_actions(report);
    size_t index = 0;
    for (const auto &entry : report.days) {
        const DayCounts &day = entry.second;
        double x = left + slot * static_cast<double>(index++) + (slot - barWidth) / 2;
        double y = top + plotHeight;
        for (const std::string &action : actions) {
            auto found = day.byAction.find(action);
            if (found == day.byAction.end() || found->second == 0)
                continue;
            double barHeight = plotHeight * found->second / most;
            y -= barHeight;
            svg += rect(x, y, barWidth, barHeight, action_colour(action),
                        day.date + ": " + std::to_string(found->second) + " " + action);
        }
        svg += text_at(x + barWidth / 2, top + plotHeight + 16, "middle", day.date.substr(5));
    }
    double legendX = left;
    for (const std::string &action : actions) {
        svg += rect(legendX, height - 22, 12, 12, action_colour(action), action);
        svg += text_at(legendX + 16, height - 12, "start", action);
        legendX += 110;
    }
    return svg + "</svg>\n";
}

std::string top_triggers_chart(const EventReport &report)
{
    std::vector<std::pair<std::string, int>> entries;
    for (const auto &rule : report.total.byRule)
        entries.emplace_back("rule: " + rule.first, rule.second);
    for (const auto &policy : report.total.byPolicy)
        entries.emplace_back("policy: " + policy.first, policy.second);
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto &a, const auto &b) { return a.second > b.second; });
    if (entries.size() > kTopEntries)
        entries.resize(kTopEntries);
    const double width = 720, labelWidth = 260, rowHeight = 26, top = 8;
    const double height = top * 2 + rowHeight * static_cast<double>(std::max<size_t>(1, entries.size()));
    const double barSpace = width - labelWidth - 60;
    int most = 1;
    for (const auto &entry : entries)
        most = std::max(most, entry.second);
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" id=\"top-triggers\" "
                      "role=\"img\" width=\"" + number(width) + "\" height=\"" + number(height) +
                      "\" viewBox=\"0 0 " + number(width) + " " + number(height) + "\">\n";
    svg += "<title>Top rules and policies</title>\n";
    double y = top;
    for (const auto &entry : entries) {
        const bool rule = entry.first.compare(0, 5, "rule:") == 0;
        double barWidth = barSpace * entry.second / most;
        svg += text_at(labelWidth - 8, y + 17, "end", short_label(entry.first));
        svg += rect(labelWidth, y + 4, barWidth, rowHeight - 8, rule ? "#8e44ad" : "#16a085",
                    entry.first + ": " + std::to_string(entry.second));
        svg += text_at(labelWidth + barWidth + 6, y + 17, "start", std::to_string(entry.second));
        y += rowHeight;
    }
    if (entries.empty())
        svg += text_at(width / 2, top + 17, "middle", "no rule or policy blocked a mail");
    return svg + "</svg>\n";
}

std::string counts_cell(const Counts &counts)
{
    std::string text;
    for (const auto &entry : top_counts(counts, kTopEntries))
        text += (text.empty() ? "" : ", ") + escaped(entry.first) + " " +
                std::to_string(entry.second);
    return text.empty() ? "&ndash;" : text;
}

std::string day_row(const DayCounts &day)
{
    std::string row = "<tr><td>" + escaped(day.date) + "</td><td>" + std::to_string(day.blocked) +
                      "</td>";
    for (const char *action : kActions) {
        auto found = day.byAction.find(action);
        row += "<td>" + std::to_string(found == day.byAction.end() ? 0 : found->second) + "</td>";
    }
    row += "<td>" + counts_cell(day.byRule) + "</td><td>" + counts_cell(day.byPolicy) +
           "</td><td>" + std::to_string(day.attachments) + " in " +
           std::to_string(day.attachmentMails) + "</td><td>" + counts_cell(day.senders) +
           "</td></tr>\n";
    return row;
}

} // namespace

std::string report_html(const EventReport &report, const std::string &since,
                        const std::string &until)
{
    std::string period = (since.empty() ? "the first log" : since) + " to " +
                         (until.empty() ? "the last log" : until);
    std::string page =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<title>Content management report</title>\n<style>\n"
        "body{font-family:sans-serif;margin:24px;color:#222}\n"
        "svg{display:block;margin:8px 0 24px;font-size:12px;font-family:sans-serif}\n"
        "table{border-collapse:collapse;font-size:13px}\n"
        "th,td{border:1px solid #ccc;padding:4px 8px;text-align:left;vertical-align:top}\n"
        "th{background:#f0f0f0}\n</style>\n</head>\n<body>\n"
        "<h1>Content management report</h1>\n<p>From " + escaped(period) + ": " +
        std::to_string(report.total.blocked) + " mails blocked, " +
        std::to_string(report.total.attachments) + " attachments removed from " +
        std::to_string(report.total.attachmentMails) + " mails.</p>\n";
    page += "<h2>Blocked mails per day by action</h2>\n" + blocked_per_day_chart(report);
    page += "<h2>Top rules and policies</h2>\n" + top_triggers_chart(report);
    page += "<h2>Per day</h2>\n<table>\n<tr><th>day</th><th>blocked</th><th>Delete</th>"
            "<th>Quarantine</th><th>Archive</th><th>rules</th><th>policies</th>"
            "<th>attachments removed</th><th>top senders</th></tr>\n";
    for (const auto &day : report.days)
        page += day_row(day.second);
    page += day_row(report.total);
    return page + "</table>\n</body>\n</html>\n";
}
