// Reference readings of the kernel text files, for the ARP and cpuinfo fuzz targets:
// lines with their line breaks, as a line reader returns them.
#ifndef CALYX_FUZZ_PROC_READERS_H
#define CALYX_FUZZ_PROC_READERS_H

#include <string>
#include <vector>

namespace calyx_fuzz {

inline std::vector<std::string> LinesWithBreaks(const std::string& content) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        end = end == std::string::npos ? content.size() : end + 1;
        lines.push_back(content.substr(start, end - start));
        start = end;
    }
    return lines;
}

}  // namespace calyx_fuzz

#endif  // CALYX_FUZZ_PROC_READERS_H
