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

StatusReports& statusReports() {
    static StatusReports reports;
    return reports;
}

} // namespace kvx
