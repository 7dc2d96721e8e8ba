#include "RecordKeys.h"

#include <QFontDatabase>
#include <QHeaderView>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>

namespace kvx {

namespace {

QPushButton* makeKey(QWidget* parent, const QString& name, const QString& caption, const QString& tip) {
    auto* key = new QPushButton(caption, parent);
    key->setObjectName(name);
    key->setToolTip(tip);
    key->setFixedHeight(17);
    key->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    key->setAutoDefault(false);
    return key;
}

} // namespace

RecordKeys::RecordKeys(QWidget* panel) : QObject(panel) {
    m_save = makeKey(panel, QStringLiteral("cmdSaveRecord"), QStringLiteral("Save Rec"),
                     QStringLiteral("Save the trace as a record"));
    m_list = makeKey(panel, QStringLiteral("cmdLoadRecord"), QStringLiteral("Load Rec"),
                     QStringLiteral("List the saved records"));
    m_clear = makeKey(panel, QStringLiteral("cmdClear"), QStringLiteral("Clear"),
                      QStringLiteral("Clear the trace"));

    m_recordList = new QListWidget(panel);
    m_recordList->setObjectName(QStringLiteral("List1"));
    // The list's columns are padded text: they line up only in a fixed-width font.
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    fixed.setPixelSize(10);
    m_recordList->setFont(fixed);
    m_recordList->hide();

    m_recordGrid = new QTableWidget(0, 4, panel);
    m_recordGrid->setObjectName(QStringLiteral("grdRecList"));
    m_recordGrid->setHorizontalHeaderLabels(
        {QStringLiteral("編號"), QStringLiteral("開始時間"), QStringLiteral("結束時間"), QStringLiteral("註  解")});
    m_recordGrid->verticalHeader()->hide();
    m_recordGrid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_recordGrid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_recordGrid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_recordGrid->horizontalHeader()->setStretchLastSection(true);
    m_recordGrid->hide();
}

} // namespace kvx
