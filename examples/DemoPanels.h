// DemoPanels.h - what each panel of the windowed demo shows, as lines of
// text made by the library's own functions. Kept apart from the window so
// that each panel reads as a small example of its subsystem.
#pragma once

#include <string>
#include <vector>

namespace demo {

using Lines = std::vector<std::string>;

/// Format, SplitString and ReplaceAll on shared strings.
Lines StringLines();
/// Path names taken apart, and full and relative paths made.
Lines PathLines();
/// A directory tree made with CreateAllDirectory and removed with
/// RemoveDirectoryForce under `base`.
Lines FolderLines(const std::string& base);
/// One moment formatted in two time zones.
Lines DateLines();

/// The rotating log of the demo: a small file size and three generations,
/// so that the rotated files appear after a few lines.
class CDemoLog {
public:
    explicit CDemoLog(const std::string& folder);
    /// Writes one line through the log.
    void WriteLine(int number);
    /// The log files that exist (name and size) and the current file's last
    /// lines.
    Lines Lines(int lastLines) const;

private:
    std::string m_folder;
    std::string m_path;
};

} // namespace demo
