#include "linesplitter.h"

namespace kvxsim {

QList<QByteArray> LineSplitter::feed(const QByteArray& bytes) {
    QList<QByteArray> lines;
    for (char byte : bytes) {
        if (byte != '\r' && byte != '\n') {
            m_pending.append(byte);
            continue;
        }
        if (!m_pending.isEmpty())
            lines.append(m_pending);
        m_pending.clear();
    }
    return lines;
}

QList<QByteArray> LineSplitter::finishMessage() {
    QList<QByteArray> lines;
    if (!m_pending.isEmpty())
        lines.append(m_pending);
    m_pending.clear();
    return lines;
}

} // namespace kvxsim
