// A read-only, seekable FILE over bytes in memory that hands out at most
// `piece` bytes per read call (null on failure; close with fclose).
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

struct PieceFileState {
    std::string bytes;
    size_t piece;
    off64_t pos = 0;

    static ssize_t Read(void *cookie, char *buffer, size_t size)
    {
        auto *state = static_cast<PieceFileState *>(cookie);
        const off64_t left = std::max<off64_t>(0, off64_t(state->bytes.size()) - state->pos);
        const size_t n = std::min({size, state->piece, size_t(left)});
        std::memcpy(buffer, state->bytes.data() + state->pos, n);
        state->pos += off64_t(n);
        return ssize_t(n);
    }
    static int Seek(void *cookie, off64_t *offset, int whence)
    {
        auto *state = static_cast<PieceFileState *>(cookie);
        const off64_t base = whence == SEEK_SET   ? 0
                             : whence == SEEK_CUR ? state->pos
                                                  : off64_t(state->bytes.size());
        if (base + *offset < 0)
            return -1;
        *offset = state->pos = base + *offset;
        return 0;
    }
    static int Close(void *cookie)
    {
        delete static_cast<PieceFileState *>(cookie);
        return 0;
    }
};

inline FILE *OpenPieceFile(const std::string &bytes, size_t piece)
{
    auto *state = new PieceFileState{bytes, std::max<size_t>(piece, 1)};
    FILE *file = fopencookie(
        state, "rb", {PieceFileState::Read, nullptr, PieceFileState::Seek, PieceFileState::Close});
    if (!file)
        delete state;
    else
        std::setvbuf(file, nullptr, _IONBF, 0); // every read reaches Read
    return file;
}
