#include "tools/hostkit/copy_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "base/file_util.h"
#include "tools/hostkit/json_text.h"

namespace {

const char kRecordSuffix[] = ".json";

bool ends_with(const std::string &text, const std::string &tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

std::string system_error(const std::string &what, const std::string &path)
{
    return what + " " + path + ": " + std::strerror(errno);
}

} // namespace

std::string copy_record_path(const std::string &copyPath)
{
    return copyPath + kRecordSuffix;
}

bool is_copy_record_name(const std::string &fileName)
{
    return ends_with(fileName, kRecordSuffix) || (!fileName.empty() && fileName[0] == '.');
}

std::string utc_time_text(time_t when)
{
    struct tm parts;
    char text[32] = "";
    if (gmtime_r(&when, &parts))
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

bool parse_utc_time_text(const std::string &text, time_t *when)
{
    struct tm parts{};
    char *end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    if (!end || *end != '\0' || text.size() != 20)
        return false;
    time_t parsed = timegm(&parts);
    // Only a time written the one way (no day 31 of November, no year 271).
    if (utc_time_text(parsed) != text)
        return false;
    *when = parsed;
    return true;
}

std::string format_copy_record(const CopyRecord &record)
{
    std::string text = "{\n  \"format\": 1,\n";
    auto member = [&](const char *key, const std::string &value) {
        text += std::string("  \"") + key + "\": " + value + ",\n";
    };
    member("id", json_quote(record.id));
    member("host", json_quote(record.host));
    member("sender", json_quote(record.sender));
    member("recipients", json_quote_list(record.recipients));
    member("client", json_quote(record.client));
    member("time", json_quote(utc_time_text(record.time)));
    member("verdict", json_quote(record.verdict));
    member("action", json_quote(record.action));
    if (record.released) {
        member("released", json_quote(utc_time_text(record.released)));
        member("released_to", json_quote_list(record.releasedTo));
    }
    text += "  \"trigger\": " + json_quote(record.trigger) + "\n}\n";
    return text;
}

bool parse_copy_record(const std::string &text, CopyRecord *record, std::string *error)
{
    JsonObject object;
    if (!parse_json_object(text, &object, error))
        return false;
    if (object.text("format") != "1") {
        *error = "not a copy record of format 1";
        return false;
    }
    CopyRecord read;
    read.id = object.text("id");
    read.host = object.text("host");
    read.sender = object.text("sender");
    read.recipients = object.list("recipients");
    read.client = object.text("client");
    read.verdict = object.text("verdict");
    read.action = object.text("action");
    read.trigger = object.text("trigger");
    read.releasedTo = object.list("released_to");
    if (!parse_utc_time_text(object.text("time"), &read.time)) {
        *error = "\"time\" is not a UTC time";
        return false;
    }
    if (object.has("released") && !parse_utc_time_text(object.text("released"), &read.released)) {
        *error = "\"released\" is not a UTC time";
        return false;
    }
    *record = read;
    return true;
}

bool write_copy_record(const std::string &copyPath, const CopyRecord &record, std::string *error)
{
    const std::string target = copy_record_path(copyPath);
    size_t slash = target.rfind('/');
    std::string dir = slash == std::string::npos ? "" : target.substr(0, slash + 1);
    std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string temp = dir + "." + base + ".XXXXXX";
    int fd = mkostemp(&temp[0], O_CLOEXEC);
    if (fd < 0) {
        *error = system_error("cannot create a file beside", copyPath);
        return false;
    }
    const std::string text = format_copy_record(record);
    bool written = WriteAll(fd, text.data(), text.size()) && fsync(fd) == 0;
    if (!written)
        *error = system_error("cannot write", temp);
    if (::close(fd) != 0 && written) {
        *error = system_error("cannot close", temp);
        written = false;
    }
    if (written && std::rename(temp.c_str(), target.c_str()) != 0) {
        *error = system_error("cannot rename " + temp + " to", target);
        written = false;
    }
    if (!written)
        ::unlink(temp.c_str());
    return written;
}

RecordRead read_copy_record(const std::string &copyPath, CopyRecord *record, std::string *error)
{
    const std::string path = copy_record_path(copyPath);
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (errno == ENOENT)
            return RecordRead::Missing;
        *error = system_error("cannot open", path);
        return RecordRead::Broken;
    }
    std::string text;
    char chunk[8192];
    while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
        text.append(chunk, static_cast<size_t>(in.gcount()));
        if (text.size() > kJsonMaxInput)
            break;   // the parser refuses it
    }
    if (in.bad()) {
        *error = system_error("cannot read", path);
        return RecordRead::Broken;
    }
    if (!parse_copy_record(text, record, error)) {
        *error = path + ": " + *error;
        return RecordRead::Broken;
    }
    return RecordRead::Found;
}

bool record_mail_copy(const std::string &copyPath, const CopyRecord &envelope, std::string *error)
{
    if (copyPath.empty())
        return true;
    CopyRecord record = envelope;
    if (!record.time)
        record.time = ::time(nullptr);
    return write_copy_record(copyPath, record, error);
}
