// The plug-in's temporary directory, shared by everything that writes
// temporary files for a mail. The plug-in sets it at start from the program
// directory ("<program dir>tempdir", or the "TempDir" setting); it is empty
// until then. Written only while no mail is processed.
#pragma once

#include "base/ov_string.h"

extern t_string g_t_strTEMPDIR;

// The text made safe to stand as one file name inside a directory: every
// "/" and every ".." become "_", and an empty result becomes "_".
std::string SafeFileNamePart(const char *name);
