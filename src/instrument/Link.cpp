#include "Link.h"

namespace kvx {

bool Link::fail(int number, const QString& text, QString* error) {
    m_lastErrorNumber = number;
    if (error)
        *error = text;
    return false;
}

bool readWholeNumber(const QString& text, int low, int high, int* value) {
    bool ok = false;
    const int n = text.trimmed().toInt(&ok);
    if (!ok || n < low || n > high)
        return false;
    *value = n;
    return true;
}

void Link::reportIdleError(const QString& description) const {
    if (m_idleErrorHandler)
        m_idleErrorHandler(description);
}

} // namespace kvx
