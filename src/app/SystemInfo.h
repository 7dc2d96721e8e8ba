#pragma once
// What the About box's "System Info..." button shows: the desktop's own
// system-information tool where one is installed, else this summary.

#include <QString>
#include <QStringList>

namespace kvx {

// Tools tried in order; the first one found on PATH is started.
QStringList systemInfoToolNames();
// Full path of the first installed tool, or empty text.
QString findSystemInfoTool();

// Total and available memory from the text of /proc/meminfo, as
// "7.6 GiB total, 5.1 GiB available"; empty when the text has neither.
QString memorySummary(const QString& meminfoText);

// Kernel, operating system, CPU architecture, Qt version, host and memory, one per line.
QString systemInfoText();

} // namespace kvx
