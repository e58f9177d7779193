// libcalyx: the whole public interface. (calyx/ext.h only forwards to these headers.)
#ifndef CALYX_CALYX_H
#define CALYX_CALYX_H

#include "calyx/client.h"
#include "calyx/client_list.h"
#include "calyx/core.h"
#include "calyx/host.h"
#include "calyx/i18n.h"
#include "calyx/media_db.h"
#include "calyx/media_names.h"
#include "calyx/platform.h"
#include "calyx/types.h"
#include "calyx/utf8.h"
#include "calyx/version.h"

#endif  // CALYX_CALYX_H
