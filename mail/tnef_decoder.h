// TnefDecoder: one walk over one TNEF stream. It reports the name of every
// attachment in the stream to a callback and, when the callback answers 3,
// saves the attachment's data into the save directory.
//
//   TnefDecoder decoder(on_name, context, "/tmp/out\\");
//   int rc = decoder.DecodeFile("/tmp/winmail.dat");   // 0 or negative
//
// Callback answers: 1 stops the walk (result 0), 3 saves the data of the
// attachment when the stream gave some and a save directory is set, any
// other value goes on. The data is saved under the name that the callback
// leaves in its buffer, so a callback may choose the file name by
// rewriting it (at most 255 bytes). The exported OVCM functions use one decoder per
// call built from the process-wide settings; the MIME walk uses its own
// callback and context, so decodes in several threads never share state.
//
// Names: an attachment's name comes from its attAttachment properties: the
// long file name, else the short file name, else the display name (the
// first of them that is not empty). With none of them the name stays
// "default.dat"; when the names there are all empty, the attachment's
// attAttachTitle stands instead. Embedded messages (TNEF streams inside a
// property) are walked as they are met, up to 20 streams deep, so their
// names come before the name of the attachment that holds them.
//
// Data: an attachment's attAttachData record; when it has none, the data
// stored among its properties (PR_ATTACH_DATA_BIN, or an OLE object's bytes
// after the object's interface id), as newer mail clients write it. The
// record that starts an attachment (attAttachRenddata) forgets the previous
// attachment's title and data, so data is never saved under the name of a
// later attachment that has none.
//
// Save paths: the directory's trailing backslash stands for the separator;
// the name is made safe first (no "/", no "..") so that nothing is written
// outside the directory.
//
// A record that the stream cuts short ends the walk; every read is bounded
// by the stream's end.
#pragma once

#include <cstdio>
#include <string>

#include "mail/tnef_format.h"

struct MapiValue;

using TnefNameCallback = int (*)(char *name, void *context);

// Reads and checks the signature and key: 0, -10 for another signature,
// -14 for a short read.
int VerifyTNEF(FILE *file);
// Copies the record's data into a new file at path; -16 on success, -17
// when the file cannot be made or written (a partial file is removed). The
// stream position is kept.
int SaveAttachData(AttributeStruct record, FILE *file, const char *path);
// Error reporting hook of the decoder; reports nothing.
void ErrorDump();
// The file path for an attachment named `name` in save directory `dir`: the
// directory followed by the name made safe (SafeFileNamePart), as the format
// joins them: a directory set through OVCMSetSaveAttachPath ends in its
// backslash, which stays the separator; one ending in neither "\\" nor "/"
// gets a "/".
std::string TnefSavePath(const char *dir, const char *name);

class TnefDecoder {
public:
    TnefDecoder(TnefNameCallback callback, void *context, const char *saveDir);

    // -1 when the file cannot be opened or sized, else Decode's result.
    int DecodeFile(const char *path);
    // Walks an open stream of `size` bytes from offset 0: 0, or -1 for a
    // stream that is not TNEF or a save that failed.
    int Decode(FILE *file, long size);

    // The walk of one stream from the file's current position to `end`.
    int ProcessTNEF(long end);
    // Reads the record at *position (before `end`); *position becomes the
    // next record's offset, or -1 after the last one.
    AttributeStruct ReadAttribute(long *position, long end);
    // Reads the property list at the file's position up to `end` into the
    // record: may replace its name and note where its data lies; walks
    // embedded streams.
    void HandleProperty(long end, AttributeStruct &record);

private:
    bool IsEmbeddedStream(const MapiValue &value, long *start) const;
    static bool IsAttachmentData(const MapiValue &value);
    void FollowEmbedded(long start, long end);
    bool ReportAttachment(AttributeStruct &record, const std::string &title,
                          const AttributeStruct *pending, bool *saved);

    FILE *m_pFile = nullptr;
    TnefNameCallback m_pCallback;
    void *m_pContext;
    std::string m_strSaveDir;
    int m_nDepth = 0;
    bool m_bStopped = false;   // the callback asked to stop
    bool m_bFailed = false;    // a save failed
};
