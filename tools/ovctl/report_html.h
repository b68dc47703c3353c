// The HTML page of ovctl report --html: one self-contained file (inline CSS
// and SVG, no script, no external asset) with two charts, the mails blocked
// per day by action (stacked bars) and the top rules and policies
// (horizontal bars), and the tables of the text report.
//
//   std::string page = report_html(report, "2026-11-01", "2026-11-30");
//
// Every text from the logs is HTML-escaped and made valid UTF-8.
#pragma once

#include <string>

#include "tools/ovctl/event_report.h"

std::string report_html(const EventReport &report, const std::string &since,
                        const std::string &until);
