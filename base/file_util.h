// Small file, path, time and string utilities shared by the whole plug-in.
// Names follow the Win32 functions they stand in for.
#pragma once

#include <sys/types.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>

// Longest path the plug-in builds into a fixed buffer, terminator included.
constexpr size_t OV_MAX_PATH = 512;

// Copies at most size-1 characters of src, always terminates (when size > 0),
// returns the count copied. A null src copies nothing.
size_t strcpy_truncate(char *dst, const char *src, size_t size);

// Copies src to dst in 8192-byte blocks. Fails when dst exists and
// failIfExists is true (errno EEXIST). The copy is written to a hidden part
// file in dst's directory, synced, and renamed into place (a replaced dst
// keeps its mode), so dst is either untouched or the whole copy; the part
// file is removed on any failure. Failures are written to the debug log, each
// line ending in the system's error text, and leave errno set. True only when
// the whole file was copied; a missing source creates no destination.
bool CopyFile(const char *src, const char *dst, bool failIfExists);
bool DeleteFile(const char *path);
// mkdir with mode 0755 (the second argument is ignored, as in Win32); true if
// it was created.
bool CreateDirectory(const char *path, void *securityAttributes = nullptr);

// Builds a new temporary file name "<dir>/<prefix><pid>_<tid>_<n>.tmp" into
// out (OV_MAX_PATH bytes; no "/" is added when dir ends with one). n comes
// from a process-wide counter and the file is created empty (mode 0600) so
// that the name stays unique; a name already taken moves on to the next n.
// unique != 0 uses that number and creates nothing. Returns the number used,
// 0 (and out empty) on failure, e.g. a name longer than OV_MAX_PATH.
unsigned GetTempFileName(const char *dir, const char *prefix, unsigned unique, char *out);
// As GetTempFileName with the extension (".eml", ".txt", ...) in place of
// ".tmp": "<dir>/<prefix><pid>_<tid>_<n><extension>".
unsigned GetTempFileNameEx(const char *dir, const char *prefix, const char *extension,
                           unsigned unique, char *out);
// Creates a new temporary file as GetTempFileNameEx does and returns it open
// for reading and writing (close-on-exec), its name in out and its number in
// *number (when given); -1 with errno set and out empty on failure.
int CreateTempFile(const char *dir, const char *prefix, const char *extension, char *out,
                   unsigned *number = nullptr);
// The next number of the process-wide counter the temporary names take
// (never 0): with GetTempFileNameEx a new name that is not created.
unsigned NextTempNumber();
// Writes all size bytes to fd, again after a signal or a short write; false
// with errno set at the first failure (ENOSPC when write() takes nothing).
bool WriteAll(int fd, const void *data, size_t size);
// getpid(), asked once per process (and once more in a child after fork).
long ProcessId();
// "<dir><name>.<pid>.<tid>" into out (OV_MAX_PATH bytes).
void make_path_name_pid_tid(const char *dir, const char *name, char *out);
// A unique base name "<prefix><pid>_<tid>_<n>" without a directory.
std::string get_temp_name_without_path(const char *prefix);

// Win32-style path splitting and joining; any output may be null and each is
// OV_MAX_PATH bytes (longer parts are truncated). Both "/" and "\\" separate
// directories, so a Windows attachment path splits too; a drive is a letter
// and ":" at the very start. dir keeps its trailing separator, ext its dot.
//   "/var/q/mail.eml" -> "", "/var/q/", "mail", ".eml"
// _makepath adds "/" after a dir without a separator and "." before an ext
// without one.
void _splitpath(const char *path, char *drive, char *dir, char *fname, char *ext);
void _makepath(char *path, const char *drive, const char *dir, const char *fname,
               const char *ext);
char *_strlwr(char *text);   // lowers ASCII letters in place, returns text

// Reentrant time helpers with a caller buffer.
struct tm *Localtime(const time_t *when, struct tm *out);
char *Asctime(const struct tm *when, char *buffer);   // buffer of 26 bytes or more
// strtok_r with the save pointer kept by the caller.
char *Strtok(char *text, const char *separators, char **save);

// Line reader: read_a_line gives the next line without its line end ("\n",
// "\r\n") and returns false at the end of the file. A last line without a
// line end is still given.
// The second constructor reads the lines of a text already in memory (which
// must outlive the reader) the same way.
class f_read_text_file {
public:
    explicit f_read_text_file(const char *path);
    f_read_text_file(const char *text, size_t length);
    ~f_read_text_file();
    f_read_text_file(const f_read_text_file &) = delete;
    f_read_text_file &operator=(const f_read_text_file &) = delete;

    bool is_open() const { return m_file != nullptr || m_text != nullptr; }
    bool read_a_line(std::string &line);

private:
    bool read_a_text_line(std::string &line);

    FILE *m_file = nullptr;
    const char *m_text = nullptr; // the rest of the text in memory
    const char *m_textEnd = nullptr;
};

// Line writer: output_a_line writes one printf-style formatted text (the
// caller includes the line end in the format, e.g. "%s%s" with "\r\n").
class f_write_text_file {
public:
    explicit f_write_text_file(const char *path, const char *mode = "w");
    ~f_write_text_file();
    f_write_text_file(const f_write_text_file &) = delete;
    f_write_text_file &operator=(const f_write_text_file &) = delete;

    bool is_open() const { return m_file != nullptr; }
    FILE *handle() { return m_file; }

private:
    FILE *m_file = nullptr;
};

bool output_a_line(f_write_text_file &file, const char *format, ...)
    __attribute__((format(printf, 2, 3)));
