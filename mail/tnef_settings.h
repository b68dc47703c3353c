// The process-wide settings of the exported TNEF functions (include/ov/tnef.h):
// the name callback, its context and the save directory. Plain globals
// without a lock: callers set them before decoding.
#pragma once

#include "ov/tnef.h"

constexpr int TNEF_SAVE_PATH_SIZE = 1024;

extern OVCMExtractAttachNameFn funcExtractAttachName;
extern void *pVPara;
// The save directory, ending in a backslash; empty when saving is off.
extern char szAttachPathName[TNEF_SAVE_PATH_SIZE];
