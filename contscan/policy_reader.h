// Reading the keyword policy file ("CsConfig.dat") and the keyword import
// files it names into a POLICYSET.
//
// The policy file is one stream of tab-ended tokens (newlines belong to the
// tokens). The first token must be "CsConfig.dat2"; each further token is a
// two-letter type and its argument:
//
//   sh NAME   new policy; its section of the settings file gives
//             "InboundMailScan" and "OutboundMailScan" (default "yes")
//   se =t...  synonyms of the policy on ("=" directly followed by "t"), else off
//   pe =t...  policy enabled, same rule
//   ew TEXT   no-action keyword          wh TEXT  new keyword list with TEXT
//   wd TEXT   keyword of the current list sy TEXT  synonym of the current keyword
//   sf FILE   keyword lists from an import file   sn  reserved, ignored
//
// Keywords of a disabled policy are skipped, synonyms also when the policy's
// synonyms are off; texts are lowered (ASCII) unless "CaseSensitive" of
// "Content Filter" says "yes". A token longer than 259 bytes is split; a tab
// right after a tab repeats the previous token; a last token without its tab
// is dropped. A keyword list whose first keyword is refused takes no further
// keywords ("wd" is then ignored up to the next list), and the synonyms of a
// refused keyword are ignored too.
//
// Import files hold one keyword list per line, keywords separated by ",";
// lines are read in pieces of at most 511 bytes (a longer line goes on in the
// same list), converted to the host character code with fromANY, and for the
// policy named "Anti-Spam" the lines of the "Ex-AntiSpam" file of "Advanced
// Options" are left out. A relative file name is taken from the program
// directory, which is the directory of the settings file.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "ov/contscan.h"

// Longest token of the policy file.
constexpr int OV_POLICY_TOKEN_LIMIT = 259;

enum PolicyTokenType {
    TOKEN_POLICY_HEADER = 0,   // "sh"
    TOKEN_SYNONYM_ENABLED = 1, // "se"
    TOKEN_POLICY_ENABLED = 2,  // "pe"
    TOKEN_NOACTION = 3,        // "ew"
    TOKEN_LIST_HEAD = 4,       // "wh"
    TOKEN_KEYWORD = 5,         // "wd"
    TOKEN_SYNONYM = 6,         // "sy"
    TOKEN_RESERVED = 7,        // "sn"
    TOKEN_IMPORT_FILE = 8,     // "sf"
    TOKEN_OTHER = 9,
};

// 1 on success; -EAGAIN when the file cannot be opened, is empty or is not a
// policy file; -ENOMEM when a policy cannot be made (also for an "sh" token
// without a name). Policies read before a failure stay in the set.
int ReadPolicy(POLICYSET *set, const char *policyFile, const char *settingsFile);

// Reads one token into buffer (OV_POLICY_TOKEN_LIMIT + 1 bytes): its length;
// 0 at the end of the file (a token not ended by a tab is not returned); -1
// when the first byte read is a tab, leaving the buffer as it was.
int FgetTillTab(char *buffer, FILE *file);

int GetTokenType(const char *token);

// Adds the keyword lists of an import file to the policy; 1 on success, 0
// when the file cannot be opened.
int AddKeywordFromImportFile(POLICY_STRU *policy, const char *file, int caseSensitive,
                             const char *settingsFile);

// The lines of the "Ex-AntiSpam" file named in the settings file.
void ReadExAntiSpam(std::vector<std::string> &lines, const char *settingsFile);

// Opens a regular file for reading ("rb"); null for anything else (a
// directory, a device or a pipe would never end or would block).
FILE *OpenRegularFile(const char *path);

// The program directory for a settings file: its directory with a trailing
// "/" (empty for a bare file name, so that names stay relative).
std::string ProgramDirectoryOf(const char *settingsFile);
