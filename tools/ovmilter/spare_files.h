// SpareFiles: the emptied files of answered mails, kept in "<spool>/.spare"
// and renamed into place for the next mails' pairs instead of creating and
// removing two files per mail. Some file systems search long for a free
// inode once many were freed lately (ext4 without a journal steps over
// every recently freed one), which made that churn most of the milter's
// own work. At most kMaxSpares files are kept per spool; a file with a
// second link (a copy someone else holds) is never emptied.
//
//   SpareFiles &spares = SpareFiles::instance();
//   bool reused = spares.take(spool, dfPath);   // false: create it as usual
//   ...
//   if (!spares.keep(spool, dfPath)) std::remove(dfPath.c_str());
//   spares.remove_all(spool);   // at start: what an earlier run left
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

class SpareFiles {
public:
    static const size_t kMaxSpares = 64;
    static SpareFiles &instance();

    // Renames a spare of `spool` to `path`, which must not exist; false
    // when there is none (or it could not be moved).
    bool take(const std::string &spool, const std::string &path);
    // Empties the file at `path` and moves it among the spares; false when
    // it is not kept (no such file, a second link, enough spares, or an
    // error), the caller then removes it.
    bool keep(const std::string &spool, const std::string &path);
    // Removes the spares of `spool`, also those an earlier process left.
    void remove_all(const std::string &spool);

private:
    std::mutex m_mutex;
    std::map<std::string, std::vector<std::string>> m_spares;   // by spool
    unsigned long m_counter = 0;
};
