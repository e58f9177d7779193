// Form bodies with repeated fields (a list of checked boxes), which GLib's form decoder
// folds into one value per name.
#ifndef CALYX_DMS_ADMIN_FORM_FIELDS_H
#define CALYX_DMS_ADMIN_FORM_FIELDS_H

#include <string>
#include <vector>

namespace calyx_dms {

// Every value of field `name` in an application/x-www-form-urlencoded `body`, in order
// ("+" is a blank, %XX a byte; a pair that does not decode is left out).
std::vector<std::string> FormValues(const std::string& body, const std::string& name);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ADMIN_FORM_FIELDS_H
