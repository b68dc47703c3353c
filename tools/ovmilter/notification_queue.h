// The host's queue function for the plug-in's notification mails. ovmilter
// hands each mail to the local MTA with a sendmail-compatible command: the
// configured words, then "-f FROM" and the recipients, the mail file on
// standard input. A mail the command took is deleted; one it refused stays
// where the plug-in wrote it, and the log names the file.
//
//   set_notification_command({"/usr/sbin/sendmail", "-oi"});
//   call.enque_mail = ovmilter_enque_mail;     // in every ZWHostCall
#pragma once

#include <string>
#include <vector>

#include "ov/host.h"

void set_notification_command(const std::vector<std::string> &command);

// The words to run for one mail. A recipient that starts with "-" would be
// read as an option, so it is left out and listed in *refused.
std::vector<std::string> sendmail_arguments(const std::vector<std::string> &command,
                                            const char *from, char *const *recipients,
                                            std::vector<std::string> *refused);

// Runs the command with the file as standard input and waits at most
// `timeoutSeconds`; false with a reason unless it exited with status 0.
bool run_with_input(const std::vector<std::string> &words, const std::string &inputPath,
                    int timeoutSeconds, std::string *error);

extern "C" int ovmilter_enque_mail(ZWEnqueRecord *record);
