#include "tools/ovctl/quarantine_store.h"

#include <dirent.h>
#include <iconv.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "mail/charset.h"
#include "tools/hostkit/spool.h"
#include "tools/hostkit/work_directories.h"

namespace {

// The header block is all a listing needs; a longer one is cut here.
constexpr size_t kHeaderLimit = 256 * 1024;
// Quarantine root, "Anti-Spam", rule: copies lie no deeper.
constexpr int kMaxDepth = 3;

std::string read_header_block(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string head(kHeaderLimit, '\0');
    in.read(&head[0], static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    for (const char *blankLine : {"\r\n\r\n", "\n\n"}) {
        size_t end = head.find(blankLine);
        if (end != std::string::npos)
            head.resize(end + 1);
    }
    return head;
}

const char *host_euc_name()
{
    switch (_language) {
    case LANG_CHINESE: return "EUC-CN";
    case LANG_TAIWAN: return "EUC-TW";
    default: return "EUC-JP";
    }
}

// The host's EUC text in UTF-8; the bytes as they are when they do not
// convert (the JSON writer escapes them, the text writer shows them).
std::string host_text_to_utf8(const std::string &text)
{
    iconv_t cd = iconv_open("UTF-8", host_euc_name());
    if (cd == iconv_t(-1))
        return text;
    std::string out(text.size() * 4 + 16, '\0');
    char *in = const_cast<char *>(text.data());
    size_t inLeft = text.size();
    char *to = &out[0];
    size_t toLeft = out.size();
    size_t done = iconv(cd, &in, &inLeft, &to, &toLeft);
    iconv_close(cd);
    if (done == size_t(-1))
        return text;
    out.resize(out.size() - toLeft);
    return out;
}

// Where the plug-in puts a copy tells what made it.
void name_trigger(const std::vector<std::string> &levels, StoredCopy *copy)
{
    if (levels.empty()) {
        copy->kind = "attachment removal";
        copy->trigger = "(attachment removal)";
    } else if (levels.size() == 2 && levels[0] == "Anti-Spam") {
        copy->kind = "rule";
        copy->trigger = levels[1];
    } else if (levels.size() == 1) {
        copy->kind = "policy";
        copy->trigger = levels[0];
    } else {
        copy->kind = "other";
        for (const std::string &level : levels)
            copy->trigger += (copy->trigger.empty() ? "" : "/") + level;
    }
}

void describe_copy(StoredCopy *copy, const struct stat &info)
{
    copy->size = info.st_size;
    copy->time = info.st_mtime;
    copy->recordState = read_copy_record(copy->path, &copy->record, &copy->recordError);
    const std::string head = read_header_block(copy->path);
    copy->subject = decoded_header_text(header_value(head, "Subject"));
    if (copy->recordState == RecordRead::Found) {
        copy->time = copy->record.time;
        copy->sender = copy->record.sender;
        copy->recipients = copy->record.recipients;
        return;
    }
    MailEnvelope envelope = envelope_from_message(head, copy->time);
    copy->sender = envelope.envelopeFrom;
    copy->recipients = envelope.recipients;
}

void walk(const std::string &dir, std::vector<std::string> &levels,
          std::vector<StoredCopy> *copies)
{
    DIR *handle = opendir(dir.c_str());
    if (!handle)
        return;
    while (dirent *entry = readdir(handle)) {
        std::string name = entry->d_name;
        if (name == "." || name == ".." || is_copy_record_name(name))
            continue;
        std::string path = dir + "/" + name;
        struct stat info;
        if (lstat(path.c_str(), &info) != 0)
            continue;
        if (S_ISDIR(info.st_mode) && levels.size() + 1 < kMaxDepth) {
            levels.push_back(name);
            walk(path, levels, copies);
            levels.pop_back();
        } else if (S_ISREG(info.st_mode)) {
            StoredCopy copy;
            copy.path = path;
            copy.id = name;
            for (const std::string &level : levels)
                copy.relative += level + "/";
            copy.relative += name;
            name_trigger(levels, &copy);
            describe_copy(&copy, info);
            copies->push_back(copy);
        }
    }
    closedir(handle);
}

} // namespace

std::string decoded_header_text(const std::string &value)
{
    RFC1342_DECODED decoded;
    std::string text = value;
    if (!value.empty() && rfc1342_decode(value.c_str(), &decoded, CHARSET_EUC) == 0 &&
        decoded.m_pszText) {
        text = decoded.m_pszText;
        std::free(decoded.m_pszText);
    }
    text = host_text_to_utf8(text);
    // One line of text: no control character leaves the field.
    for (char &c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = ' ';
    }
    return text;
}

std::string copy_directory(const std::string &root, bool archive)
{
    // The quarantine and archive roots, read as the plug-in reads them.
    std::string dir = plugin_work_directories(root)[archive ? 2 : 1].path;
    while (dir.size() > 1 && dir.back() == '/')
        dir.pop_back();
    return dir;
}

bool list_copies(const std::string &dir, std::vector<StoredCopy> *copies, std::string *error)
{
    struct stat info;
    if (stat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        if (errno == ENOENT)
            return true;   // nothing copied yet
        *error = "cannot read " + dir + ": " + std::strerror(errno);
        return false;
    }
    std::vector<std::string> levels;
    walk(dir, levels, copies);
    std::stable_sort(copies->begin(), copies->end(), [](const StoredCopy &a, const StoredCopy &b) {
        return a.time != b.time ? a.time < b.time : a.relative < b.relative;
    });
    return true;
}

bool find_copy(const std::string &dir, const std::string &id, StoredCopy *copy,
               std::string *error)
{
    std::vector<StoredCopy> copies;
    if (!list_copies(dir, &copies, error))
        return false;
    std::vector<const StoredCopy *> found;
    for (const StoredCopy &candidate : copies) {
        bool byMail = candidate.recordState == RecordRead::Found && candidate.record.id == id;
        if (candidate.id == id || candidate.relative == id || byMail)
            found.push_back(&candidate);
    }
    if (found.size() == 1) {
        *copy = *found[0];
        return true;
    }
    if (found.empty()) {
        *error = "no copy " + id + " in " + dir;
    } else {
        *error = id + " names " + std::to_string(found.size()) + " copies:";
        for (const StoredCopy *each : found)
            *error += " " + each->relative;
    }
    return false;
}
