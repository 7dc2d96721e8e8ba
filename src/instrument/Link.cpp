#include "Link.h"

#include <QStringList>

namespace kvx {

bool Link::fail(int number, const QString& text, QString* error) {
    m_lastErrorNumber = number;
    if (error)
        *error = text;
    return false;
}

void Link::reportIdleError(const QString& description) const {
    if (m_idleErrorHandler)
        m_idleErrorHandler(description);
}

} // namespace kvx
