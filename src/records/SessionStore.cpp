#include "SessionStore.h"

#include "OperationRecord.h"
#include "RecordStore.h"
#include "Session.h"

namespace kvx {

namespace {

// The settings as the operation file holds them: the store is opened before the
// front panel reads the file into the session.
OperationRecord savedSettings() {
    OperationRecord saved = session().operation;
    if (saved.databaseText.isEmpty() && saved.benchName.isEmpty())
        OperationFile::load(session().pathInFolder(QString::fromLatin1(kOperationFile)), saved);
    return saved;
}

} // namespace

QString sessionDatabaseText() {
    const QString given = session().databaseOverride.trimmed();
    return given.isEmpty() ? savedSettings().databaseText.trimmed() : given;
}

QString sessionBenchName() {
    QString name = session().benchOverride.trimmed();
    if (name.isEmpty())
        name = savedSettings().benchName.trimmed();
    return name.isEmpty() ? defaultBenchName(session().programFolder) : name;
}

bool openSessionRecordStore(QString* error) {
    const QString file = session().pathInFolder(QString::fromLatin1(kDatabaseFile));
    QString text = sessionDatabaseText();
    // Only a server text names another store; anything else is the program folder's file.
    if (!text.startsWith(QLatin1String("postgres")))
        text.clear();
    StoreTarget target;
    if (!parseStoreText(text, file, &target, error))
        return false;
    recordStore().setBench(sessionBenchName());
    if (recordStore().open(target))
        return true;
    *error = recordStore().openMessage();
    return false;
}

} // namespace kvx
