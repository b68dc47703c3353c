// Logging of ovmilter: syslog, facility mail, tag "ovmilter"; in the
// foreground each line is also copied to standard error.
//
//   open_milter_log(foreground);
//   milter_log(LOG_INFO, "%s: verdict=%s", id, word);
#pragma once

#include <syslog.h>

void open_milter_log(bool copyToStderr);

void milter_log(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));
