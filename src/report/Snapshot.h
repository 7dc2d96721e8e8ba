#pragma once
// The snapshot key: the trend graph as a JPEG picture named after the moment it
// was taken ("20260105_100000.jpg"), in the snapshot folder of the settings or
// else the user's Pictures folder. The picture has a title and the reading
// axis's unit, drawn at twice the screen's size or more, and the status line
// says where it went.

#include <QDateTime>
#include <QString>

class QWidget;

namespace kvx {

class Snapshot {
public:
    // The folder of the settings without its padding; when the setting is
    // empty, the user's Pictures folder (the program folder's "Working" folder
    // where there is none).
    static QString folder();
    // "YYYYMMDD_HHMMSS.jpg"
    static QString fileName(const QDateTime& when);

    // Saves the trend graph window's plot in the snapshot folder, creating the
    // folder when it is missing. Returns the picture's path, or empty text after
    // telling the operator why nothing was saved (no graph, a folder that cannot
    // be made or written).
    static QString save();
    // The same for a given plot widget, the unit of its readings and a folder.
    static QString save(QWidget* plot, const QString& unit, const QString& folder, const QDateTime& when);
};

} // namespace kvx
