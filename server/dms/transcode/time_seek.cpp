#include "transcode/time_seek.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace calyx_dms {

namespace {

// A run of digits, optionally followed by "." and more digits; `text` is advanced.
bool ReadDecimal(const char*& text, double& out, bool fraction) {
    const char* begin = text;
    while (*text >= '0' && *text <= '9')
        ++text;
    if (text == begin || text - begin > 9)
        return false;
    if (fraction && *text == '.') {
        const char* digits = ++text;
        while (*text >= '0' && *text <= '9')
            ++text;
        if (text == digits)
            return false;
    }
    out = strtod(begin, nullptr);
    return true;
}

// npt-sec ("12.5") or npt-hhmmss ("1:02:03.5"); `text` is advanced past it.
bool ReadNptTime(const char*& text, double& seconds) {
    double first = 0;
    const char* begin = text;
    if (!ReadDecimal(text, first, true))
        return false;
    const bool fraction = memchr(begin, '.', static_cast<size_t>(text - begin)) != nullptr;
    if (*text != ':') {
        seconds = first;
        return true;
    }
    double minutes = 0;
    double rest = 0;
    if (fraction)
        return false;  // "1.5:00:00": hours are whole
    ++text;
    if (!ReadDecimal(text, minutes, false) || *text != ':' || minutes > 59)
        return false;
    ++text;
    if (!ReadDecimal(text, rest, true) || rest >= 60)
        return false;
    seconds = first * 3600 + minutes * 60 + rest;
    return true;
}

std::string Seconds(double value) {
    char text[32];
    snprintf(text, sizeof text, "%.3f", value);
    return text;
}

}  // namespace

bool ParseTimeSeek(const std::string& header, TimeSeek& out) {
    const char* text = header.c_str();
    while (*text == ' ')
        ++text;
    if (strncmp(text, "npt=", 4) != 0)
        return false;
    text += 4;
    TimeSeek seek;
    if (!ReadNptTime(text, seek.start) || *text != '-')
        return false;
    ++text;
    if (*text != '\0' && *text != ' ') {
        if (!ReadNptTime(text, seek.end) || seek.end <= seek.start)
            return false;
    }
    while (*text == ' ')
        ++text;
    if (*text != '\0')
        return false;
    out = seek;
    return true;
}

std::string FormatTimeSeek(double start, double end, double duration) {
    if (end < 0)
        end = duration;
    std::string value = "npt=" + Seconds(start) + "-";
    if (end > 0)
        value += Seconds(end);
    return value + "/" + (duration > 0 ? Seconds(duration) : std::string("*"));
}

}  // namespace calyx_dms
