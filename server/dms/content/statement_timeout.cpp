#include "content/statement_timeout.h"

#include <stdlib.h>

namespace calyx_dms {

StatementTimeoutForNewConnections::StatementTimeoutForNewConnections(unsigned milliseconds) {
    const char* options = getenv("PGOPTIONS");
    if (options)
        previous_ = options;
    if (milliseconds == 0)
        return;
    const std::string timeout = "-c statement_timeout=" + std::to_string(milliseconds);
    const std::string merged = previous_ ? *previous_ + " " + timeout : timeout;
    setenv("PGOPTIONS", merged.c_str(), 1);
}

StatementTimeoutForNewConnections::~StatementTimeoutForNewConnections() {
    if (previous_)
        setenv("PGOPTIONS", previous_->c_str(), 1);
    else
        unsetenv("PGOPTIONS");
}

}  // namespace calyx_dms
