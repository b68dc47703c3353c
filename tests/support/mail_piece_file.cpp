// In-memory FILE that reads in pieces (glibc fopencookie).
#include "support/mail_piece_file.h"

#include <cstring>
#include <sys/types.h>

namespace {

struct PieceCookie {
    std::string bytes;
    size_t piece;
    off64_t pos = 0;
};

ssize_t ReadPiece(void *cookie, char *buffer, size_t size)
{
    auto *state = static_cast<PieceCookie *>(cookie);
    off64_t left = off64_t(state->bytes.size()) - state->pos;
    if (left <= 0)
        return 0;
    size_t n = size < state->piece ? size : state->piece;
    if (off64_t(n) > left)
        n = size_t(left);
    std::memcpy(buffer, state->bytes.data() + state->pos, n);
    state->pos += off64_t(n);
    return ssize_t(n);
}

int SeekPiece(void *cookie, off64_t *offset, int whence)
{
    auto *state = static_cast<PieceCookie *>(cookie);
    off64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? state->pos
                                                                : off64_t(state->bytes.size());
    off64_t target = base + *offset;
    if (target < 0)
        return -1;
    state->pos = target;
    *offset = target;
    return 0;
}

int ClosePiece(void *cookie)
{
    delete static_cast<PieceCookie *>(cookie);
    return 0;
}

} // namespace

FILE *OpenPieceFile(const std::string &bytes, size_t piece)
{
    auto *state = new PieceCookie{bytes, piece == 0 ? 1 : piece};
    cookie_io_functions_t functions{};
    functions.read = ReadPiece;
    functions.seek = SeekPiece;
    functions.close = ClosePiece;
    FILE *file = fopencookie(state, "rb", functions);
    if (!file) {
        delete state;
        return nullptr;
    }
    // Unbuffered, so that every read of the decoder reaches ReadPiece.
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}
