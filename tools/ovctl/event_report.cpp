#include "tools/ovctl/event_report.h"

#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "tools/hostkit/event_log_reader.h"
#include "tools/hostkit/plugin_host.h"

namespace {

int count_names(const std::string &list)
{
    if (list.empty())
        return 0;
    return 1 + static_cast<int>(std::count(list.begin(), list.end(), ','));
}

void count_mail(const LoggedMail &mail, DayCounts *day)
{
    if (mail.kind == LoggedKind::Attachments) {
        ++day->attachmentMails;
        day->attachments += count_names(mail.name);
        return;
    }
    if (mail.kind != LoggedKind::Rule && mail.kind != LoggedKind::Policy)
        return;
    ++day->blocked;
    ++day->byAction[mail.action];
    ++(mail.kind == LoggedKind::Rule ? day->byRule : day->byPolicy)[mail.name];
    ++day->senders[mail.sender.empty() ? "<>" : mail.sender];
}

bool within(const std::string &date, const std::string &since, const std::string &until)
{
    return (since.empty() || date >= since) && (until.empty() || date <= until);
}

} // namespace

bool is_report_date(const std::string &text)
{
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return false;
    for (size_t i : {0, 1, 2, 3, 5, 6, 8, 9}) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return false;
    }
    return true;
}

void add_event_log(const std::string &text, const std::string &since, const std::string &until,
                   EventReport *report)
{
    for (const LoggedMail &mail : parse_event_log(text)) {
        if (!within(mail.date, since, until))
            continue;
        if (mail.kind == LoggedKind::Other)
            continue;
        DayCounts &day = report->days[mail.date];
        day.date = mail.date;
        count_mail(mail, &day);
        count_mail(mail, &report->total);
    }
}

bool read_event_report(const std::string &root, const std::string &since,
                       const std::string &until, EventReport *report, std::string *error)
{
    const std::string dir = program_directory(root);
    DIR *handle = opendir(dir.c_str());
    if (!handle) {
        *error = "cannot read " + dir + ": " + std::strerror(errno);
        return false;
    }
    std::vector<std::string> files;
    while (dirent *entry = readdir(handle)) {
        std::string date = event_log_file_date(entry->d_name);
        // The file and its lines take their date from the same clock.
        if (!date.empty() && within(date, since, until))
            files.push_back(entry->d_name);
    }
    closedir(handle);
    std::sort(files.begin(), files.end());
    for (const std::string &file : files) {
        std::ifstream in(dir + file, std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (!in.eof() && in.fail()) {
            *error = "cannot read " + dir + file + ": " + std::strerror(errno);
            return false;
        }
        add_event_log(text, since, until, report);
    }
    report->total.date = "total";
    return true;
}

std::vector<std::pair<std::string, int>> top_counts(const Counts &counts, size_t count)
{
    std::vector<std::pair<std::string, int>> entries(counts.begin(), counts.end());
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto &a, const auto &b) { return a.second > b.second; });
    if (entries.size() > count)
        entries.resize(count);
    return entries;
}
