#include "plugin/attachment_replace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "base/file_util.h"
#include "mail/charset.h"
#include "mail/mail_info.h"
#include "mail/temp_dir.h"
#include "notify/event_log.h"
#include "notify/notify_globals.h"
#include "plugin/mail_actions.h"
#include "plugin/settings.h"

namespace {

constexpr size_t kChunk = 2048;

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// Copies input bytes [from, to) to output in 2048-byte chunks; stops early
// at the end of the input (a file that shrank under us). False when a read
// or a write fails.
bool copy_range(FILE *input, FILE *output, long from, long to)
{
    if (to <= from)
        return true;
    if (std::fseek(input, from, SEEK_SET) != 0)
        return false;
    char buffer[kChunk];
    long left = to - from;
    while (left > 0) {
        size_t want = left < static_cast<long>(kChunk) ? static_cast<size_t>(left) : kChunk;
        size_t got = std::fread(buffer, 1, want, input);
        if (got == 0)
            return !std::ferror(input);
        if (std::fwrite(buffer, 1, got, output) != got)
            return false;
        left -= static_cast<long>(got);
    }
    return true;
}

// Gives the finished work file the message's mode and puts its bytes on
// disk, ready to take the message's place.
bool seal(FILE *output, mode_t mode)
{
    return std::fflush(output) == 0 && fchmod(fileno(output), mode) == 0 &&
           fsync(fileno(output)) == 0;
}

long clamp(long position, long length)
{
    return position < 0 ? 0 : (position > length ? length : position);
}

// Writes the rewritten message into output; false when any read or write
// failed.
bool write_rewrite(FILE *input, FILE *output, long length, const Replace_Stru *replace,
                   const char *prefix, const char *text)
{
    long copyStart = 0;
    const int count = replace ? replace->count : 0;
    for (int i = 0; i < count; ++i) {
        const Attach_Stru *entry = replace->entries[i];
        if (!entry)
            continue;
        const long start = clamp(entry->m_nStart, length);
        if (!copy_range(input, output, copyStart, start) ||
            std::fprintf(output, "%s[Filename: %s, Content-Type: %s]\r\n%s", prefix ? prefix : "",
                         entry->m_szName, entry->m_szContentType, text) < 0)
            return false;
        copyStart = clamp(entry->m_nEnd, length);
        if (copyStart < start)
            copyStart = start;
    }
    return copy_range(input, output, copyStart, length);
}

} // namespace

int ReplaceFileBlock(const char *path, const Replace_Stru *replace, const char *prefix,
                     const char *text, const char *tempPath)
{
    if (!path || !text)
        return -1;
    File input(std::fopen(path, "rb"));
    if (!input || std::fseek(input.get(), 0, SEEK_END) != 0)
        return -1;
    const long length = std::ftell(input.get());
    const char *temp = tempPath ? tempPath : "./temp.txt";
    File output(std::fopen(temp, "wb"));
    if (!output)
        return -1;
    struct stat message;
    bool written = length >= 0 && fstat(fileno(input.get()), &message) == 0 &&
                   write_rewrite(input.get(), output.get(), length, replace, prefix, text) &&
                   seal(output.get(), message.st_mode & 07777);
    input.reset();
    written = std::fclose(output.release()) == 0 && written;
    // The message is replaced whole by a rename, or not at all: the work file
    // itself when it is on the message's file system, else a copy of it.
    if (written && std::rename(temp, path) == 0)
        return 1;
    written = written && errno == EXDEV && CopyFile(temp, path, false);
    DeleteFile(temp);
    return written ? 1 : -1;
}

const char *ReplacementPartHeader(int language)
{
    switch (language) {
    case 1:
        return "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n"
               "Content-Transfer-Encoding: 7bit\r\n\r\n";
    case 2:
        return "Content-Type: text/plain; charset=\"iso-2022-cn\"\r\n"
               "Content-Transfer-Encoding: 7bit\r\n\r\n";
    case 3:
        return "Content-Type: text/plain; charset=\"iso-2022-cn-ext\"\r\n"
               "Content-Transfer-Encoding: 7bit\r\n\r\n";
    default:
        return "Content-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n";
    }
}

std::string ComposeReplacementText()
{
    const std::string raw = ReadSetting("Specialized Filtering", "ReplaceText", "");
    std::string composed = raw + "\r\n\r\n";
    char *converted = toISO2022(composed.c_str(), AutoDetect(raw.c_str()), _language);
    if (converted) {
        composed = converted;
        std::free(converted);
    }
    return composed;
}

int ReplaceAttachments(const char *dfPath, const Replace_Stru *replace, const CMailInfo &info,
                       int direction)
{
    // Without a work file of its own the rewrite fails (an empty name does
    // not open) rather than fall back to "./temp.txt", which threads would share.
    char tempName[OV_MAX_PATH] = "";
    GetTempFileName(g_t_strTEMPDIR.c_str(), "RP", 0, tempName);
    const std::string text = ComposeReplacementText();
    int result = ReplaceFileBlock(dfPath, replace, ReplacementPartHeader(_language), text.c_str(),
                                  tempName);
    if (result != 1) {
        if (tempName[0])
            DeleteFile(tempName);
        char line[2 * OV_MAX_PATH];
        std::snprintf(line, sizeof line, "CONTENT MANAGEMENT ERROR: ReplaceFileBlock(%s) fail!",
                      dfPath ? dfPath : "");
        WriteLogFile(line, nullptr, 367, 0);
        return result;
    }
    for (int i = 0; replace && i < replace->count; ++i) {
        if (!replace->entries[i])
            continue;
        const std::string record = MailEventRecord(direction, "Attachment Removal (Replaced with text)",
                                                   replace->entries[i]->m_szName, info, dfPath);
        WriteMailEvent("An attachment file in the message has been removed by Content Management!",
                       record, 400);
    }
    return result;
}
