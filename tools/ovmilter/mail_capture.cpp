#include "tools/ovmilter/mail_capture.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "base/ov_string.h"
#include "tools/hostkit/spool_id.h"
#include "tools/ovmilter/spare_files.h"

namespace {

std::string io_error(const std::string &path)
{
    return "cannot write " + path + ": " + std::strerror(errno);
}

std::string directory_of(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}

// The first value of header `name`, unfolded into one line as envelope
// files need it.
std::string first_header_line(const std::vector<HeaderField> &headers, const char *name)
{
    for (const HeaderField &header : headers) {
        if (strcasecmp(header.name.c_str(), name) != 0)
            continue;
        std::string line;
        for (size_t i = 0; i < header.value.size(); ++i) {
            char c = header.value[i];
            if (c == '\r' || c == '\n') {
                while (i + 1 < header.value.size() &&
                       (header.value[i + 1] == '\r' || header.value[i + 1] == '\n' ||
                        header.value[i + 1] == ' ' || header.value[i + 1] == '\t'))
                    ++i;
                line += ' ';
            } else {
                line += c;
            }
        }
        t_string trimmed = line;
        return trimmed.trim_left(" \t").trim_right(" \t");
    }
    return "";
}

} // namespace

bool lock_spool(const std::string &spool, std::string *error)
{
    std::string path = spool + "/ovmilter.lock";
    int fd = open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        *error = "spool " + spool + " is in use by another ovmilter";
        close(fd);
        return false;
    }
    return true;   // the descriptor stays open: the lock lasts as long as the process
}

int remove_stale_pairs(const std::string &spool)
{
    int removed = 0;
    DIR *directory = opendir(spool.c_str());
    if (!directory)
        return 0;
    while (dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        bool pairFile = name.size() > 2 && (name.compare(0, 2, "AF") == 0 ||
                                            name.compare(0, 2, "DF") == 0);
        if (pairFile && std::remove((spool + "/" + name).c_str()) == 0)
            ++removed;
    }
    closedir(directory);
    SpareFiles::instance().remove_all(spool);
    return removed;
}

std::string make_spool_id()
{
    static std::atomic<unsigned> counter{0};
    char id[64];
    std::snprintf(id, sizeof id, "%08lx%06x%06x", static_cast<unsigned long>(time(nullptr)),
                  static_cast<unsigned>(getpid()), counter++ & 0xFFFFFF);
    return id;
}

std::string strip_angle_brackets(const std::string &address)
{
    t_string bare = address;
    bare.trim_left(" \t").trim_right(" \t");
    if (bare.size() >= 2 && bare.front() == '<' && bare.back() == '>')
        bare = bare.substr(1, bare.size() - 2);
    return bare;
}

std::string crlf_line_breaks(const std::string &value)
{
    // Line breaks at the end would leave an empty line: the end of the
    // header block, with the fields after it taken for the body.
    size_t length = value.find_last_not_of("\r\n");
    length = length == std::string::npos ? 0 : length + 1;
    std::string text;
    text.reserve(length);
    for (size_t i = 0; i < length; ++i) {
        char c = value[i];
        if (c == '\r' && i + 1 < length && value[i + 1] == '\n')
            continue;   // the LF that follows writes the pair
        if (c == '\n') {
            text += "\r\n";
            // A line that does not start with a blank would begin a header
            // field of its own, one the MTA never saw.
            if (value[i + 1] != ' ' && value[i + 1] != '\t')
                text += ' ';
        } else {
            text += c == '\r' ? ' ' : c;   // a bare CR breaks no line
        }
    }
    return text;
}

std::unique_ptr<MailCapture> MailCapture::start(const std::string &spool, const std::string &id,
                                                bool outbound, const std::string &sender,
                                                time_t received, std::string *error)
{
    std::unique_ptr<MailCapture> mail(new MailCapture);
    const char direction = outbound ? 'O' : 'I';
    mail->m_outbound = outbound;
    mail->m_pair.afPath = spool + "/AF" + direction + id;
    mail->m_pair.dfPath = spool + "/DF" + direction + id;
    mail->m_envelope.envelopeFrom = strip_angle_brackets(sender);
    mail->m_envelope.receivedTime = static_cast<long>(received);
    const bool spare = SpareFiles::instance().take(spool, mail->m_pair.dfPath);
    mail->m_data = std::fopen(mail->m_pair.dfPath.c_str(), spare ? "wbe" : "wbxe");
    if (!mail->m_data) {
        *error = io_error(mail->m_pair.dfPath);
        if (spare)
            std::remove(mail->m_pair.dfPath.c_str());
        mail->m_pair = SpoolPair{};   // not ours: the destructor must leave them alone
        return nullptr;
    }
    return mail;
}

MailCapture::~MailCapture()
{
    if (m_data)
        std::fclose(m_data);
    for (const std::string *path : {&m_pair.dfPath, &m_pair.afPath}) {
        if (!path->empty() && !SpareFiles::instance().keep(directory_of(*path), *path))
            std::remove(path->c_str());
    }
}

void MailCapture::add_recipient(const std::string &address)
{
    m_envelope.recipients.push_back(strip_angle_brackets(address));
}

bool MailCapture::write(const void *data, size_t size, std::string *error)
{
    if (!m_data) {
        *error = "data file " + m_pair.dfPath + " is already closed";
        return false;
    }
    if (size != 0 && std::fwrite(data, 1, size, m_data) != size) {
        *error = io_error(m_pair.dfPath);
        return false;
    }
    return true;
}

bool MailCapture::add_header(const std::string &name, const std::string &value,
                             std::string *error)
{
    HeaderField header{name, crlf_line_breaks(value)};
    std::string line = header.name + ": " + header.value + "\r\n";
    m_headers.push_back(std::move(header));
    return write(line.data(), line.size(), error);
}

bool MailCapture::end_headers(std::string *error)
{
    m_headersEnded = true;
    return write("\r\n", 2, error);
}

bool MailCapture::add_body(const void *data, size_t size, std::string *error)
{
    if (!m_headersEnded && !end_headers(error))
        return false;
    return write(data, size, error);
}

bool MailCapture::rename_pair(const std::string &id)
{
    if (!m_data)
        return false;   // the envelope file is written: too late
    const std::string prefix = m_pair.dfPath.substr(0, m_pair.dfPath.rfind('/') + 1);
    const char direction = m_outbound ? 'O' : 'I';
    for (int attempt = 1; attempt <= 100; ++attempt) {
        const std::string name = direction + spool_id_candidate(id, attempt);
        if (access((prefix + "AF" + name).c_str(), F_OK) == 0)
            continue;
        // link() claims the new name atomically: no other capture can take it.
        if (link(m_pair.dfPath.c_str(), (prefix + "DF" + name).c_str()) == 0) {
            std::remove(m_pair.dfPath.c_str());
            m_pair = {prefix + "AF" + name, prefix + "DF" + name};
            return true;
        }
        if (errno != EEXIST)
            return false;
    }
    return false;
}

bool MailCapture::finish(std::string *error)
{
    if (!m_headersEnded && !end_headers(error))
        return false;
    FILE *data = m_data;
    m_data = nullptr;
    // No fsync: the pair is a working copy; until the mail is answered the
    // sending server keeps its own.
    if (std::fclose(data) != 0) {
        *error = io_error(m_pair.dfPath);
        return false;
    }
    m_envelope.from = first_header_line(m_headers, "From");
    m_envelope.to = first_header_line(m_headers, "To");
    m_envelope.cc = first_header_line(m_headers, "Cc");
    m_envelope.replyTo = first_header_line(m_headers, "Reply-To");
    m_envelope.subject = first_header_line(m_headers, "Subject");
    SpareFiles::instance().take(directory_of(m_pair.afPath), m_pair.afPath);
    return write_file(m_pair.afPath, format_envelope(m_envelope), error);
}
