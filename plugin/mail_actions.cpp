#include "plugin/mail_actions.h"

#include <unistd.h>

#include <algorithm>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/file_util.h"
#include "base/log.h"
#include "mail/charset.h"
#include "mail/mail_info.h"
#include "notify/event_log.h"

namespace {

// Converts a path to the host character set (code 7 leaves plain text as it
// is when the host has none).
std::string host_path(const std::string &path)
{
    char *converted = fromANY(path.c_str(), g_nHostCharset ? g_nHostCharset : 7);
    if (!converted)
        return path;
    std::string result = converted;
    std::free(converted);
    return result.empty() ? path : result;
}

// Makes the directory and any missing parents; one call when the parent is
// there (the usual case: each mail's copy goes where earlier ones went).
void make_directories(const std::string &path)
{
    if (CreateDirectory(path.c_str(), nullptr) || errno != ENOENT)
        return;
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        CreateDirectory(path.substr(0, slash).c_str(), nullptr);
    CreateDirectory(path.c_str(), nullptr);
}

std::string base_name(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string directory_of(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

// Text from the mail in a field of the backslash-separated record: a
// backslash in it would start a field of its own, so it is written as "/".
std::string RecordField(std::string text)
{
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

// A name for the copy in dir that no file has, as the classic code chose it:
// a new temporary name "DF<pid>_<tid>_<n>.tmp" made in dir (and deleted
// again) with "A" as its first character, so that an older copy is never
// overwritten; "A<data file name>" when no temporary name can be made there.
std::string classic_copy_name(const std::string &dir, const char *dfPath)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        char name[OV_MAX_PATH] = "";
        if (GetTempFileName(dir.c_str(), "DF", 0, name) == 0)
            break;
        DeleteFile(name);   // only its unique name is wanted
        std::string target = name;
        size_t slash = target.rfind('/');
        size_t first = slash == std::string::npos ? 0 : slash + 1;
        if (target.size() - first > 3)
            target[first] = 'A';
        if (::access(target.c_str(), F_OK) != 0)
            return target;
    }
    return dir + "/A" + base_name(dfPath);
}

// The name classic_copy_name gives when dir takes new files, without making
// and deleting a file there: "AF<pid>_<tid>_<n>.tmp" with a new number; ""
// when every try names a file that is there.
std::string quick_copy_name(const std::string &dir)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        char name[OV_MAX_PATH] = "";
        if (GetTempFileNameEx(dir.c_str(), "AF", ".tmp", NextTempNumber(), name) == 0)
            break;
        if (::access(name, F_OK) != 0)
            return name;
    }
    return "";
}

} // namespace

std::string SafePathComponent(const std::string &name)
{
    std::string safe;
    for (size_t i = 0; i < name.size(); ++i) {
        char c = name[i];
        if (c == '/' || c == '\\') {
            safe += '_';
        } else if (c == '.' && i + 1 < name.size() && name[i + 1] == '.') {
            safe += "__";
            ++i;
        } else {
            safe += c;
        }
    }
    return safe.empty() ? "_" : safe;
}

bool CopyMailToDirectory(const std::string &root, const std::vector<std::string> &levels,
                         const char *dfPath, std::string *copyPath)
{
    std::string dir = root;
    while (dir.size() > 1 && dir.back() == '/')
        dir.pop_back();
    for (const std::string &level : levels)
        dir += "/" + SafePathComponent(level);
    dir = host_path(dir);
    make_directories(dir);

    // A copy under the quick name that fails is made again under the classic
    // one, so that a failure reads as it always did (the failed try leaves
    // nothing behind).
    std::string target = quick_copy_name(dir);
    if (!target.empty() && CopyFile(dfPath, target.c_str(), false)) {
        *copyPath = target;
        return true;
    }
    target = classic_copy_name(dir, dfPath);
    errno = 0;
    if (!CopyFile(dfPath, target.c_str(), false)) {
        char line[2 * OV_MAX_PATH + 64];
        std::snprintf(line, sizeof line, "CopyFile(%s,%s,FALSE) fail! ErrCode(%d)", dfPath,
                      target.c_str(), errno);
        WriteLogFile(line, nullptr, 367, 0);
        return false;
    }
    *copyPath = target;
    return true;
}

const char *DirectionWord(int direction)
{
    return direction == 1 ? "Outbound" : "Inbound";
}

std::string MailEventRecord(int direction, const std::string &action, const std::string &name,
                            const CMailInfo &info, const char *dfPath)
{
    const std::string df = dfPath ? dfPath : "";
    std::string sender = info.m_pszEnvelopeFrom ? info.m_pszEnvelopeFrom : "";
    if (sender.size() >= 2 && sender.front() == '<' && sender.back() == '>')
        sender = sender.substr(1, sender.size() - 2);
    std::string record;
    record.reserve(256);
    record += DirectionWord(direction);
    record += "\\" + action + "\\" + RecordField(name) + "\\" + RecordField(sender) + "\\" +
              directory_of(df) + "/" + base_name(df);
    return record;
}

void WriteMailEvent(const char *text, const std::string &record, int eventId)
{
    std::string line = std::string("CONTENT MANAGEMENT: ") + text;
    WriteLogFile(line.c_str(), record.c_str(), eventId, g_nHostCharset);
}
