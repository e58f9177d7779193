// Reports of the utility unit to the system log.
#ifndef CALYX_DMSUTILS_SYSLOG_REPORT_H
#define CALYX_DMSUTILS_SYSLOG_REPORT_H

#include <syslog.h>

// Every report names the utility unit "dmsutils", however its sources are split.
#define CALYX_DMSUTILS_FILE "dmsutils"

// The library-wide argument-check report, with the line of the check.
#define CALYX_REPORT_BAD_PARAMETER() \
    syslog(LOG_ERR, "%s:%d Bad parameter", CALYX_DMSUTILS_FILE, __LINE__)

#endif  // CALYX_DMSUTILS_SYSLOG_REPORT_H
