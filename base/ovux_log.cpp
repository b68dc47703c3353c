// The plug-in's debug-log pointers. ovux_log starts out pointing at a
// NullLog that lives as long as the process: it is built before ordinary
// static objects and never destroyed, so code running in any constructor,
// destructor or thread can write debug lines through ovux_log.
#include "base/log.h"

#include <new>

namespace {

// Storage for the default NullLog: constructed early, never destroyed.
union DefaultSink {
    DefaultSink() { new (&log) NullLog; }
    ~DefaultSink() {}
    NullLog log;
};

__attribute__((init_priority(101))) DefaultSink g_defaultSink;

} // namespace

Log *ovux_log = &g_defaultSink.log;
NullLog *ovux_sink = nullptr;

Log *ovux_default_log() { return &g_defaultSink.log; }
