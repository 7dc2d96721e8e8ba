#pragma once
// The command log: one line for every exchange with the meter. Tracing adds
// about 0.75 KB a second, 64 MB a day, so once the program folder is known the
// lines go straight to a spool file there (KVX_5130_Exection.log.part) and none
// is held in memory; the final file is made from the spool at quit. A program
// killed meanwhile leaves the spool with every line up to the kill; the next
// start keeps it aside as ".interrupted" before spooling anew.

#include <QFile>
#include <QString>

namespace kvx {

class CommandLog {
public:
    CommandLog() = default;
    // A normal end removes the spool: its lines are in the final file, or were not wanted.
    ~CommandLog();
    CommandLog(const CommandLog&) = delete;
    CommandLog& operator=(const CommandLog&) = delete;

    // From now on lines go to `path`; the lines so far go there first.
    bool spoolTo(const QString& path);
    void append(const QString& line);
    // The whole log as written so far.
    QString text() const;
    // The final file: the log and one more line end, written atomically.
    bool writeTo(const QString& path, QString* error) const;

private:
    QString m_memory; // until a spool is given
    QFile m_spool;
};

} // namespace kvx
