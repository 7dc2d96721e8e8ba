#include "StatusReports.h"

#include <cstdio>

namespace kvx {

void StatusReports::report(const QString& text) {
    m_last = text;
    if (m_echo) {
        std::fprintf(stderr, "kvx5130: %s\n", text.toLocal8Bit().constData());
        std::fflush(stderr);
    }
    emit reported(text);
}

void UnattendedMessageService::notice(const QString& text, const QString& title) {
    const QString oneLine = QString(text).replace(QLatin1Char('\n'), QLatin1Char(' '));
    statusReports().report(title.isEmpty() ? oneLine : title + QStringLiteral(": ") + oneLine);
}

Answer UnattendedMessageService::ask(const QString& text, const QString& title) {
    if (m_operatorAsks)
        return m_operatorAsks->ask(text, title);
    statusReports().report(text + QStringLiteral(" No (nobody can answer in a run without a display)"));
    return Answer::No;
}

StatusReports& statusReports() {
    static StatusReports reports;
    return reports;
}

} // namespace kvx
