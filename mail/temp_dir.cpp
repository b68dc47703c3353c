// The shared temporary directory and the file-name guard for names taken
// from a mail.
#include "mail/temp_dir.h"

t_string g_t_strTEMPDIR;

std::string SafeFileNamePart(const char *name)
{
    std::string safe;
    for (const char *p = name ? name : ""; *p != '\0'; ++p) {
        if (*p == '/') {
            safe += '_';
        } else if (p[0] == '.' && p[1] == '.') {
            safe += '_';
            ++p;
        } else {
            safe += *p;
        }
    }
    return safe.empty() ? "_" : safe;
}
