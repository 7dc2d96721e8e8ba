#pragma once
// What the front panel's keys for reports, snapshots, record files and exports
// call. Each asks for a file name where one is needed (starting in the program
// folder), does the work, and tells the operator through `messages()` when
// something fails.
//
// Usage from the front panel:
//   cmdShutter (tool tip ReportKeys::kShutterToolTip):  ReportKeys::saveSnapshot();
//   cmdPrint:                                            ReportKeys::printReport(this);
//   record file "Save As" / "Open":                      ReportKeys::saveRecordFileAs(this);
//                                                        ReportKeys::openRecordFile(this);
//   CSV export:                                          ReportKeys::exportCsvAs(this);
//   PDF of the report:                                   ReportKeys::exportPdfAs(this);

#include <QString>

#include <functional>

class QWidget;

namespace kvx {

class ReportKeys {
public:
    static constexpr const char* kShutterToolTip = "Save Trace as JPEG File";

    // The trend graph as "YYYYMMDD_HHMMSS.jpg" in the snapshot folder; the path, or empty text.
    static QString saveSnapshot();
    // The print preview of the working trace's report.
    static bool printReport(QWidget* parent);
    static bool saveRecordFileAs(QWidget* parent);
    static bool openRecordFile(QWidget* parent);
    static bool exportCsvAs(QWidget* parent);
    static bool exportPdfAs(QWidget* parent);

    // How a file name is asked for: (parent, saving?, caption, start path, filter) -> the
    // chosen path, or empty text when the operator cancels. The file dialogs unless a
    // test sets another; an empty function restores them.
    using FileChooser =
        std::function<QString(QWidget*, bool, const QString&, const QString&, const QString&)>;
    static void setFileChooser(FileChooser chooser);

    // A chosen save path with `suffix` added when the operator typed none.
    static QString withSuffix(const QString& path, const QString& suffix);
};

} // namespace kvx
