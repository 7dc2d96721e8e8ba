#include "SystemInfo.h"

#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QSysInfo>
#include <QtGlobal>

namespace kvx {

QStringList systemInfoToolNames() {
    return {QStringLiteral("hardinfo"), QStringLiteral("kinfocenter"), QStringLiteral("gnome-system-monitor"),
            QStringLiteral("mate-system-monitor")};
}

QString findSystemInfoTool() {
    const QStringList names = systemInfoToolNames();
    for (const QString& name : names) {
        const QString path = QStandardPaths::findExecutable(name);
        if (!path.isEmpty())
            return path;
    }
    return QString();
}

namespace {

// A /proc/meminfo line "Name:   123456 kB" as kibibytes, -1 when absent.
qint64 meminfoKiB(const QString& text, const QString& name) {
    const QRegularExpression line(
        QStringLiteral("^%1:\\s*(\\d+)\\s*kB").arg(QRegularExpression::escape(name)),
        QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = line.match(text);
    return match.hasMatch() ? match.captured(1).toLongLong() : -1;
}

QString gibText(qint64 kib) {
    return QString::number(kib / (1024.0 * 1024.0), 'f', 1) + QStringLiteral(" GiB");
}

} // namespace

QString memorySummary(const QString& meminfoText) {
    const qint64 total = meminfoKiB(meminfoText, QStringLiteral("MemTotal"));
    const qint64 available = meminfoKiB(meminfoText, QStringLiteral("MemAvailable"));
    QStringList parts;
    if (total >= 0)
        parts << gibText(total) + QStringLiteral(" total");
    if (available >= 0)
        parts << gibText(available) + QStringLiteral(" available");
    return parts.join(QStringLiteral(", "));
}

QString systemInfoText() {
    QString meminfo;
    QFile file(QStringLiteral("/proc/meminfo"));
    if (file.open(QIODevice::ReadOnly | QIODevice::Text))
        meminfo = QString::fromLatin1(file.readAll());
    const QString memory = memorySummary(meminfo);
    QStringList lines;
    lines << QStringLiteral("Operating system: %1").arg(QSysInfo::prettyProductName())
          << QStringLiteral("Kernel: %1 %2").arg(QSysInfo::kernelType(), QSysInfo::kernelVersion())
          << QStringLiteral("CPU architecture: %1").arg(QSysInfo::currentCpuArchitecture())
          << QStringLiteral("Host name: %1").arg(QSysInfo::machineHostName())
          << QStringLiteral("Qt version: %1").arg(QString::fromLatin1(qVersion()))
          << QStringLiteral("Memory: %1").arg(memory.isEmpty() ? QStringLiteral("unknown") : memory);
    return lines.join(QLatin1Char('\n'));
}

} // namespace kvx
