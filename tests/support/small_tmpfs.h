// A small tmpfs mounted on a fresh directory, for tests of a real full disk.
// Only root can mount; otherwise mounted() is false and reason() says why.
#pragma once

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "support/base_temp_dir.h"

class SmallTmpfs {
public:
    explicit SmallTmpfs(size_t bytes)
    {
        const std::string options = "size=" + std::to_string(bytes) + ",mode=0755";
        if (geteuid() != 0)
            m_reason = "needs root to mount a small tmpfs";
        else if (mount("ov-test", dir().c_str(), "tmpfs", 0, options.c_str()) != 0)
            m_reason = std::string("cannot mount a tmpfs: ") + std::strerror(errno);
    }
    ~SmallTmpfs()
    {
        if (mounted())
            umount2(dir().c_str(), MNT_DETACH);
    }
    SmallTmpfs(const SmallTmpfs &) = delete;
    SmallTmpfs &operator=(const SmallTmpfs &) = delete;

    bool mounted() const { return m_reason.empty(); }
    const std::string &reason() const { return m_reason; }
    const std::string &dir() const { return m_mountPoint.dir(); }

    // Writes .filler until the disk refuses a byte, then frees `spare` bytes.
    void Fill(size_t spare = 0) const
    {
        int fd = open((dir() + "/.filler").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fd < 0)
            return;
        char block[4096];
        std::memset(block, 'f', sizeof block);
        off_t size = 0;
        for (ssize_t put; (put = write(fd, block, sizeof block)) > 0;)
            size += put;
        if (spare > 0 && ftruncate(fd, size > off_t(spare) ? size - off_t(spare) : 0) != 0)
            size = 0;
        close(fd);
    }

private:
    BaseTempDir m_mountPoint;   // removed after the unmount
    std::string m_reason;
};
