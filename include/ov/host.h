/*
 * host.h - the plug-in's interface for mail gateways (hosts).
 *
 * A host loads libov.so, calls ZWEmailPluginInitialize once with its root
 * directory, ZWEmailPluginProcess once per mail (from many threads at once),
 * ZWEmailPluginCommand("update") to reload the settings, and
 * ZWEmailPluginCleanup once to stop. Entry points return 0 for success and a
 * negative number for failure; ZWEmailPluginProcess returns 2 for a blocked
 * mail.
 *
 * Notification mails are handed to the host's queue function, which the host
 * passes in every call record.
 */
#ifndef OV_HOST_H
#define OV_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One notification mail for the host's queue. */
typedef struct ZWEnqueRecord {
    const char *from;
    char **recipients;      /* null-terminated array */
    void *reserved1;
    void *reserved2;
    const char *path;       /* the complete mail, RFC 822 */
    int32_t flag1;
    int32_t flag2;
} ZWEnqueRecord;

typedef int (*ZWEnqueMailFn)(ZWEnqueRecord *record);

/* Filled by ZWEmailPluginInitialize. */
typedef struct ZWHostInfo {
    char version[20];
    char description[512];
    char config_program[512];
    char config_url[512];
    char interface_version[20];
    int32_t interface_flags;
} ZWHostInfo;

/* One call of ZWEmailPluginProcess: the host's queue function and the path
 * of the mail's envelope (AF) file; the data (DF) file lies beside it. */
typedef struct ZWHostCall {
    int32_t word0;
    int32_t word1;
    ZWEnqueMailFn enque_mail;
    char af_path[512];
} ZWHostCall;

/* The verdict of ZWEmailPluginProcess. */
typedef struct ZWMailResult {
    int32_t blocked;
    uint8_t reserved;
    int32_t blocked_flags[2];
    int32_t action;
} ZWMailResult;

/* Faults of one mail, the bits of OVMailReport.faults. A host that sees
 * OV_FAULT_COPY, OV_FAULT_REPLACE or OV_FAULT_TEMP cannot be sure the mail was
 * judged and kept as the verdict says, and should hold it (tempfail). */
#define OV_FAULT_COPY    0x01u /* the quarantine or archive copy failed */
#define OV_FAULT_REPLACE 0x02u /* attachment replacement failed; DF unchanged */
#define OV_FAULT_TEMP    0x04u /* no temporary file: filters were skipped */
#define OV_FAULT_NOTIFY  0x08u /* a notification mail was not queued */

/* What happened to one mail beyond its verdict; filled by
 * OVEmailPluginProcessReport. */
typedef struct OVMailReport {
    uint32_t faults;        /* OV_FAULT_* bits, 0 when none */
    char copy_path[1024];   /* the quarantine or archive copy made, or "" */
    char trigger[256];      /* the rule or policy that acted, or "" */
} OVMailReport;

int ZWEmailPluginInitialize(const char *root, ZWHostInfo *info);
int ZWEmailPluginProcess(ZWHostCall *call, ZWMailResult *result);
/* ZWEmailPluginProcess with a report of faults, the copy made and the rule or
 * policy that acted; report may be null. */
int OVEmailPluginProcessReport(ZWHostCall *call, ZWMailResult *result, OVMailReport *report);
int ZWEmailPluginCleanup(void);
int ZWEmailPluginCommand(const char *command);
const char *ZWEmailPluginGetCMVersion(void);
const char *ZWEmailPluginGetCMBuildDate(void);

#ifdef __cplusplus
}
#endif

#endif /* OV_HOST_H */
