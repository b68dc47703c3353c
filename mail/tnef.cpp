// The exported TNEF functions and their process-wide settings.
#include <cstring>

#include "base/file_util.h"
#include "mail/tnef_decoder.h"
#include "mail/tnef_settings.h"

OVCMExtractAttachNameFn funcExtractAttachName = nullptr;
void *pVPara = nullptr;
char szAttachPathName[TNEF_SAVE_PATH_SIZE] = "";

extern "C" int OVCMSetExtractAttachName(OVCMExtractAttachNameFn callback, void *context)
{
    funcExtractAttachName = callback;
    pVPara = context;
    return 0;
}

extern "C" void OVCMSetSaveAttachPath(char *dir)
{
    if (!dir || !*dir) {
        szAttachPathName[0] = '\0';
        return;
    }
    // Keep room for the backslash.
    strcpy_truncate(szAttachPathName, dir, sizeof szAttachPathName - 1);
    size_t length = std::strlen(szAttachPathName);
    if (szAttachPathName[length - 1] != '\\') {
        szAttachPathName[length] = '\\';
        szAttachPathName[length + 1] = '\0';
    }
}

extern "C" int OVCMDecodeTNEF(char *path)
{
    if (!funcExtractAttachName)
        return -1;
    TnefDecoder decoder(funcExtractAttachName, pVPara, szAttachPathName);
    return decoder.DecodeFile(path);
}
