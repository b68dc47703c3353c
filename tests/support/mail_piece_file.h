// A read-only FILE over bytes in memory that hands out at most `piece`
// bytes per read call, so that a decoder reading it sees the input arrive in
// pieces (one byte at a time with piece 1). Seeking works as on a file.
//
//   FILE *file = OpenPieceFile(bytes, 1);
//   ... decode from file ...
//   std::fclose(file);
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

// Null on failure; the caller closes it with fclose.
FILE *OpenPieceFile(const std::string &bytes, size_t piece);
