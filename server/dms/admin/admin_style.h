// The settings page's style sheet (admin_assets/admin.css, built into the program).
#ifndef CALYX_DMS_ADMIN_STYLE_H
#define CALYX_DMS_ADMIN_STYLE_H

namespace calyx_dms {

extern const char kAdminStyleSheet[];

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_STYLE_H
