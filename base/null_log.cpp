// NullLog: the log that accepts every message and writes nothing. It takes
// no lock, so any number of threads use one NullLog freely; see base/log.h.
#include "base/log.h"

NullLog::NullLog() : Log(nullptr) {}

int NullLog::lock() { return 0; }

int NullLog::trylock() { return 0; }

int NullLog::unlock() { return 0; }

int NullLog::getfd() { return -1; }

Log &NullLog::start() { return *this; }

Log *NullLog::dup() { return new NullLog; }

NullLog &NullLog::operator<<(sockaddr_in) { return *this; }

NullLog &NullLog::operator<<(const sockaddr_in *) { return *this; }

void NullLog::put_text(const char *) {}

void NullLog::end_message() {}
