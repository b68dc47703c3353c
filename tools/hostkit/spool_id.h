// Spool ids that follow the mail: a pair is named after what names the mail
// outside (the MTA's queue id in ovmilter, the input file in ovctl scan), so
// that the plug-in's event log, the host's log line and the envelope record
// of a quarantined copy all carry the same id.
//
//   std::string id = spool_id_from_name("4Xc9Lq1ZbKz");   // "4Xc9Lq1ZbKz"
//   spool_id_from_name("../in box/a.eml")                 // "in_box_a.eml"
//   for (int n = 1; ...; ++n) try spool_id_candidate(id, n)   // id, id_2, id_3 ...
//
// An id holds only letters, digits, ".", "-" and "_" (never "..", never a
// "/"), at most kSpoolIdMax bytes, so that "AF<d><id>" is a safe file name in
// the spool; a name with nothing usable gives "mail".
#pragma once

#include <string>

constexpr size_t kSpoolIdMax = 64;

std::string spool_id_from_name(const std::string &name);

// The attempt-th choice for a pair named after `id` when the earlier ones
// are taken: attempt 1 is the id itself, then id_2, id_3 ...
std::string spool_id_candidate(const std::string &id, int attempt);
