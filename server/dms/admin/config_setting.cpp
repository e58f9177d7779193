#include "admin/config_setting.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace calyx_dms {

namespace {

// Whether `line` sets `name`: optional blanks, the name, optional blanks, "=".
bool SetsName(const std::string& line, const std::string& name) {
    size_t at = line.find_first_not_of(" \t");
    if (at == std::string::npos || line.compare(at, name.size(), name) != 0)
        return false;
    at = line.find_first_not_of(" \t", at + name.size());
    return at != std::string::npos && line[at] == '=';
}

bool WriteReplacing(const std::string& path, const std::string& text, std::string& error) {
    std::string temporary = path + ".XXXXXX";
    int fd = mkstemp(&temporary[0]);
    if (fd < 0) {
        error = "cannot write beside " + path + ": " + strerror(errno);
        return false;
    }
    struct stat old;
    if (stat(path.c_str(), &old) == 0)
        fchmod(fd, old.st_mode & 07777);
    bool written =
        write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
    written = close(fd) == 0 && written;
    if (!written || rename(temporary.c_str(), path.c_str()) != 0) {
        error = "cannot write " + path + ": " + strerror(errno);
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

}  // namespace

bool SaveConfigSetting(const std::string& path, const std::string& name, const std::string& value,
                       std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "cannot read " + path;
        return false;
    }
    std::ostringstream out;
    bool replaced = false;
    std::string line;
    while (std::getline(in, line)) {
        if (!replaced && SetsName(line, name)) {
            out << name << " = " << value << "\n";
            replaced = true;
        } else {
            out << line << "\n";
        }
    }
    if (!replaced)
        out << name << " = " << value << "\n";
    return WriteReplacing(path, out.str(), error);
}

}  // namespace calyx_dms
