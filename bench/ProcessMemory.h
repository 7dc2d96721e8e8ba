#pragma once
// The memory figure of the benchmarks that run the real program as a process.

#include <QFile>
#include <QString>

namespace benchsupport {

// The peak resident set (VmHWM) of a running process in kB, 0 once it is gone.
inline qint64 peakResidentKb(qint64 pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return 0;
}

} // namespace benchsupport
