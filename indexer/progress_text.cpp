// Progress and summary texts, shared by the command line and the server's log.
#include "indexer/progress_text.h"

#include <stdio.h>

#include <algorithm>

namespace calyx_indexer {

namespace {

std::string Rate(double filesPerSecond) {
    char text[32];
    snprintf(text, sizeof text, "%.1f files/s", filesPerSecond);
    return text;
}

// Display columns of UTF-8 text, counted as one per character.
size_t Columns(const std::string& text) {
    size_t columns = 0;
    for (unsigned char c : text)
        columns += (c & 0xC0) != 0x80;
    return columns;
}

// The end of `text` in at most `width` columns, "..." marking a cut start.
std::string Tail(const std::string& text, size_t width) {
    if (Columns(text) <= width)
        return text;
    if (width <= 3)
        return std::string(width, '.');
    size_t start = text.size();
    for (size_t kept = 0; start > 0 && kept < width - 3;) {
        --start;
        kept += (static_cast<unsigned char>(text[start]) & 0xC0) != 0x80;
    }
    return "..." + text.substr(start);
}

}  // namespace

std::string ProgressBarLine(const IndexProgress& progress, size_t width) {
    constexpr size_t kBarWidth = 20;
    const size_t filled =
        progress.filesTotal == 0 ? kBarWidth : kBarWidth * progress.filesDone / progress.filesTotal;
    std::string line = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') +
                       "] " + std::to_string(progress.filesDone) + "/" +
                       std::to_string(progress.filesTotal) + " files  " +
                       Rate(progress.filesPerSecond) + "  ";
    if (Columns(line) >= width)
        return line.substr(0, width);
    return line + Tail(progress.currentFolder, width - Columns(line));
}

std::string ProgressPlainLine(const IndexProgress& progress) {
    std::string line = "indexed " + std::to_string(progress.filesDone) + " of " +
                       std::to_string(progress.filesTotal) + " files, " +
                       Rate(progress.filesPerSecond);
    if (!progress.currentFolder.empty())
        line += ", in " + progress.currentFolder;
    return line;
}

std::string SummaryText(const IndexSummary& s, size_t reasons) {
    const size_t files = s.added + s.changed + s.unchanged + s.failed;
    char seconds[32];
    snprintf(seconds, sizeof seconds, "%.1f", s.seconds);
    std::string text = std::to_string(files) + " files in " + seconds + " s (" +
                       Rate(s.seconds > 0 ? static_cast<double>(files) / s.seconds : 0) +
                       "): added " + std::to_string(s.added) + ", changed " +
                       std::to_string(s.changed) + ", removed " + std::to_string(s.removed) +
                       ", unchanged " + std::to_string(s.unchanged) + ", failed " +
                       std::to_string(s.failed) + "\n";
    text += "folders: added " + std::to_string(s.foldersAdded) + ", removed " +
            std::to_string(s.foldersRemoved) + "\n";
    const PlaylistCounts& p = s.playlistEntries;
    if (p.entries > 0)
        text += "playlist entries: " + std::to_string(p.entries) + " (missing " +
                std::to_string(p.missing) + ", URLs " + std::to_string(p.urls) + ", not UTF-8 " +
                std::to_string(p.notUtf8) + ")\n";
    for (size_t i = 0; i < s.failures.size() && i < reasons; ++i)
        text += "failed: " + s.failures[i].path + ": " + s.failures[i].reason + "\n";
    if (s.failed > reasons && s.failed > 0 && !s.failures.empty())
        text += "... and " + std::to_string(s.failed - std::min(reasons, s.failures.size())) +
                " more failed\n";
    return text;
}

}  // namespace calyx_indexer
