// Attachment replacement: the parts that the specialized filter picked are
// cut out of the message file and a short plain-text part stands in each
// place, saying which file was removed.
//
//   ReplaceAttachments(dfPath, &replace, info, direction);   // the pipeline
//   ReplaceFileBlock(path, &replace, header, text, tempPath); // the rewrite
//
// The rewrite streams through a 2048-byte buffer into a temporary file,
// which then takes the message's place (with its mode) by a rename, or, when
// the two are on different file systems, is copied over it (checked, renamed
// into place); the message is never held in memory whole.
#pragma once

#include <string>

#include "rules/replace_stru.h"

class CMailInfo;

// Rewrites `path`: the bytes of each entry's [m_nStart, m_nEnd) become
// prefix + "[Filename: <name>, Content-Type: <type>]\r\n" + text. Entries are
// in ascending order and do not overlap. 1 on success; -1 when path or text
// is null, a file cannot be opened, or a read, write, close or the final copy
// fails: the message is then byte for byte as it was, since the finished
// work file replaces it by a rename. The work file is gone either way. A
// null tempPath means "./temp.txt". An empty list copies the file unchanged.
int ReplaceFileBlock(const char *path, const Replace_Stru *replace, const char *prefix,
                     const char *text, const char *tempPath);

// The part header for the host language (`_language`).
const char *ReplacementPartHeader(int language);

// The replacement text: "ReplaceText" of "Specialized Filtering" followed by
// two CR LF pairs, converted to ISO-2022 for the host language.
std::string ComposeReplacementText();

// Composes the text, rewrites the message and writes one event-log record
// (code 400) per replaced attachment. The result of ReplaceFileBlock; when
// the rewrite fails (no work file, a full disk, the message gone) the
// message is left as it is, "CONTENT MANAGEMENT ERROR: ReplaceFileBlock(<path>)
// fail!" is logged instead of the records, and the work file is removed.
int ReplaceAttachments(const char *dfPath, const Replace_Stru *replace, const CMailInfo &info,
                       int direction);
