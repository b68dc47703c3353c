#include "tools/ovmilter/milter_log.h"

#include <cstdarg>

void open_milter_log(bool copyToStderr)
{
    openlog("ovmilter", LOG_PID | LOG_NDELAY | (copyToStderr ? LOG_PERROR : 0), LOG_MAIL);
}

void milter_log(int priority, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}
