// The envelope record kept beside a quarantine or archive copy.
//
// The plug-in copies a blocked mail's message into its quarantine or archive
// directory, but the copy holds no envelope: not the envelope sender, not the
// recipients (Bcc ones never appear in the headers), not the MTA's id. When a
// host learns of a copy (OVMailReport.copy_path) it calls record_mail_copy,
// which writes "<copy>.json" beside the copy: one JSON object in UTF-8,
//
//   {
//     "format": 1,
//     "id": "4Xc9Lq1ZbKz",                 MTA queue id (ovmilter), input file (ovctl)
//     "host": "ovmilter",                  the host that wrote it; "" when
//                                          ovctl release made the record from
//                                          the headers of a copy that had none
//     "sender": "ann@example.net",         envelope sender, "" for the null sender
//     "recipients": ["bob@example.com"],   envelope recipients, Bcc included
//     "client": "192.0.2.7",               client address, "" when not known
//     "time": "2026-11-25T11:10:57Z",      when the mail was judged, UTC
//     "verdict": "blocked",                the host's verdict word
//     "action": "quarantined",             what the plug-in did with the mail
//     "trigger": "Big mails",              the rule or policy that acted
//     "released": "2026-11-26T08:00:00Z",  only once ovctl quarantine release sent it
//     "released_to": ["bob@example.com"]   ... and to whom
//   }
//
// Readers ignore members they do not know; texts that are not UTF-8 are kept
// as \u00XX escapes of their bytes. The record is written to a hidden
// temporary file in the same directory and renamed over "<copy>.json", so a
// reader sees the old record or the new one, never a part.
#pragma once

#include <ctime>
#include <string>
#include <vector>

struct CopyRecord {
    std::string id;
    std::string host;
    std::string sender;
    std::vector<std::string> recipients;
    std::string client;
    time_t time = 0;
    std::string verdict;
    std::string action;
    std::string trigger;
    time_t released = 0;   // 0: not released
    std::vector<std::string> releasedTo;
};

// "<copy>.json".
std::string copy_record_path(const std::string &copyPath);
// True for the names of records and of their temporary files: not copies.
bool is_copy_record_name(const std::string &fileName);

std::string format_copy_record(const CopyRecord &record);
bool parse_copy_record(const std::string &text, CopyRecord *record, std::string *error);

// Writes the record of `copyPath` atomically; false with a reason.
bool write_copy_record(const std::string &copyPath, const CopyRecord &record, std::string *error);

enum class RecordRead { Found, Missing, Broken };
// Reads the record of `copyPath`; Broken comes with a reason.
RecordRead read_copy_record(const std::string &copyPath, CopyRecord *record, std::string *error);

// What a host calls after a judged mail: when the plug-in made a copy
// (copyPath not empty), writes its record from what the host knows of the
// envelope. True when there was no copy or the record was written.
bool record_mail_copy(const std::string &copyPath, const CopyRecord &envelope, std::string *error);

// "2026-11-25T11:10:57Z" and back; false for any other form.
std::string utc_time_text(time_t when);
bool parse_utc_time_text(const std::string &text, time_t *when);
