#include "frmDataTable.h"

#include "SampleTimeline.h"
#include "TraceGrid.h"
#include "Twips.h"

#include "FramePace.h"
#include "RecordStore.h"
#include "Services.h"
#include "Session.h"
#include "StatusReports.h"
#include "ValueRules.h"
#include "WorkingTrace.h"

#include <QAction>
#include <QBoxLayout>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFrame>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTableView>
#include <QTimer>

#include <cmath>
#include <utility>

namespace kvx {

namespace {

// The window's own margins: the grid gets the inner size less these.
constexpr int kHeightLeftForHeader = 1200;
constexpr int kWidthLeftForBorder = 260;
constexpr int kGridLeft = 120;

const int kColumnWidths[] = {1600, 1600, 1600, 1650, 1600, 2400};

// A hint beside a text field, shown while its text holds a single quote: the
// record database refuses such a text, so the operator learns it while typing.
QLabel* quoteHint(QLineEdit* field, const char* name) {
    auto* hint = new QLabel(QStringLiteral("A single quote (') cannot be stored"), field->parentWidget());
    hint->setObjectName(QLatin1String(name));
    hint->setStyleSheet(QStringLiteral("color: #b00000; font-weight: bold;"));
    hint->hide();
    QObject::connect(field, &QLineEdit::textChanged, hint,
                     [hint](const QString& text) { hint->setVisible(!RecordStore::canStore(text)); });
    return hint;
}

} // namespace

frmDataTable::frmDataTable(const MeterUnits& units, RecordStore& store, QWidget* parent)
    : QWidget(parent), m_units(units), m_store(store), m_model(store) {
    setObjectName(QStringLiteral("frmDataTable"));
    setProperty("kvxForm", true);
    setWindowTitle(QStringLiteral("Data Table"));
    buildControls();
    resize(twipsToPixels(7850), twipsToPixels(7300));
    layoutControls();
    forms().dataTable = this;
    // The last trace is still in the working table after a restart: show it.
    if (m_store.isOpen())
        refreshRows();
}

frmDataTable::~frmDataTable() {
    if (forms().dataTable == this)
        forms().dataTable = nullptr;
}

void frmDataTable::buildControls() {
    m_header = new QWidget(this);
    auto* rows = new QVBoxLayout(m_header);
    rows->setContentsMargins(0, 4, 0, 2);
    rows->setSpacing(3);

    auto edit = [this](const char* name) {
        auto* e = new QLineEdit(m_header);
        e->setObjectName(QString::fromLatin1(name));
        return e;
    };
    auto label = [this](const QString& text) { return new QLabel(text, m_header); };

    txtRecno = edit("txtRecno");
    txtStartTime = edit("txtStartTime");
    txtEndTime = edit("txtEndTime");
    txtDataDesc = edit("txtDataDesc");
    txtPUnit = edit("txtPUnit");
    txtSUnit = edit("txtSUnit");
    txtTimerSample = edit("txtTimerSample");
    // A fresh installation stores every reading until the settings say otherwise.
    txtTimerSample->setText(QStringLiteral("1"));
    const int dateWidth = fontMetrics().horizontalAdvance(QStringLiteral("2026/01/05 00:00:00")) + 14;
    txtStartTime->setMinimumWidth(dateWidth);
    txtEndTime->setMinimumWidth(dateWidth);
    txtRecno->setMaximumWidth(50);
    txtPUnit->setMaximumWidth(50);
    txtSUnit->setMaximumWidth(50);
    txtTimerSample->setMaximumWidth(50);

    CmbSample = new QComboBox(m_header);
    CmbSample->setObjectName(QStringLiteral("CmbSample"));
    CmbSample->addItems({QStringLiteral("Total"), QStringLiteral("Time"), QStringLiteral("Over MAX"),
                         QStringLiteral("Below MIN"), QStringLiteral("Match condition: Level"),
                         QStringLiteral("Match condition: Percent")});
    CmbSample->setCurrentIndex(0);

    auto* recordRow = new QHBoxLayout;
    recordRow->addWidget(label(QStringLiteral("Record No.")));
    recordRow->addWidget(txtRecno);
    recordRow->addWidget(label(QStringLiteral("Start")));
    recordRow->addWidget(txtStartTime, 1);
    recordRow->addWidget(label(QStringLiteral("End")));
    recordRow->addWidget(txtEndTime, 1);
    auto* descriptionRow = new QHBoxLayout;
    descriptionRow->addWidget(label(QStringLiteral("Description")));
    descriptionRow->addWidget(txtDataDesc, 1);
    lblDataDescQuote = quoteHint(txtDataDesc, "lblDataDescQuote");
    descriptionRow->addWidget(lblDataDescQuote);
    descriptionRow->addWidget(label(QStringLiteral("Units")));
    descriptionRow->addWidget(txtPUnit);
    descriptionRow->addWidget(txtSUnit);
    auto* sampleRow = new QHBoxLayout;
    sampleRow->addWidget(label(QStringLiteral("Every")));
    sampleRow->addWidget(txtTimerSample);
    sampleRow->addWidget(label(QStringLiteral("readings")));
    sampleRow->addStretch(1);
    sampleRow->addWidget(label(QStringLiteral("Show")));
    sampleRow->addWidget(CmbSample);
    CmbSample->setMinimumWidth(200);
    for (QHBoxLayout* row : {recordRow, descriptionRow, sampleRow}) {
        row->setSpacing(6);
        rows->addLayout(row);
    }

    grdHelQuest = new TraceGrid(this);
    grdHelQuest->setObjectName(QStringLiteral("grdHelQuest"));
    grdHelQuest->setModel(&m_model);
    grdHelQuest->verticalHeader()->hide();
    grdHelQuest->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    grdHelQuest->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    grdHelQuest->setSelectionMode(QAbstractItemView::NoSelection);
    grdHelQuest->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grdHelQuest->setWordWrap(false);
    grdHelQuest->horizontalHeader()->setStretchLastSection(true);
    // The columns are wider than the window's default size. A scroll bar that comes
    // and goes would change the rows that fit after the newest row was scrolled into view.
    grdHelQuest->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setUnitHeadings();

    pnlDataComment = new QFrame(this);
    pnlDataComment->setObjectName(QStringLiteral("pnlDataComment"));
    pnlDataComment->setFrameShape(QFrame::Panel);
    pnlDataComment->setFrameShadow(QFrame::Raised);
    pnlDataComment->setAutoFillBackground(true);
    auto* panel = new QGridLayout(pnlDataComment);
    txtDataComment = new QLineEdit(pnlDataComment);
    txtDataComment->setObjectName(QStringLiteral("txtDataComment"));
    cmdProcOK = new QPushButton(QStringLiteral("OK"), pnlDataComment);
    cmdProcOK->setObjectName(QStringLiteral("cmdProcOK"));
    cmdProcCancel = new QPushButton(QStringLiteral("Cancel"), pnlDataComment);
    cmdProcCancel->setObjectName(QStringLiteral("cmdProcCancel"));
    panel->addWidget(new QLabel(QStringLiteral("Comment of the sample"), pnlDataComment), 0, 0, 1, 3);
    panel->addWidget(txtDataComment, 1, 0, 1, 3);
    lblDataCommentQuote = quoteHint(txtDataComment, "lblDataCommentQuote");
    // The panel is sized when it opens: the hint's line is there from the start.
    QSizePolicy keepRoom = lblDataCommentQuote->sizePolicy();
    keepRoom.setRetainSizeWhenHidden(true);
    lblDataCommentQuote->setSizePolicy(keepRoom);
    panel->addWidget(lblDataCommentQuote, 2, 0);
    panel->setColumnStretch(0, 1);
    panel->addWidget(cmdProcOK, 3, 1);
    panel->addWidget(cmdProcCancel, 3, 2);
    pnlDataComment->hide();

    // Printing waits until the frame says how (setPrinting).
    m_printDataAction = new QAction(QStringLiteral("Print Trace..."), grdHelQuest);
    m_printDataAction->setObjectName(QStringLiteral("actPrintData"));
    m_printGridAction = new QAction(QStringLiteral("Print Grid..."), grdHelQuest);
    m_printGridAction->setObjectName(QStringLiteral("actPrintFlexGrid"));
    for (QAction* action : {m_printDataAction, m_printGridAction}) {
        action->setEnabled(false);
        grdHelQuest->addAction(action);
    }
    grdHelQuest->setContextMenuPolicy(Qt::ActionsContextMenu);

    connect(m_printDataAction, &QAction::triggered, this, &frmDataTable::PrintData);
    connect(m_printGridAction, &QAction::triggered, this, &frmDataTable::PrintFlexGrid);
    connect(CmbSample, &QComboBox::currentIndexChanged, this, &frmDataTable::filterChanged);
    connect(grdHelQuest, &QTableView::clicked, this, &frmDataTable::openCommentEditor);
    connect(cmdProcOK, &QPushButton::clicked, this, &frmDataTable::acceptComment);
    connect(txtDataComment, &QLineEdit::returnPressed, this, &frmDataTable::acceptComment);
    connect(cmdProcCancel, &QPushButton::clicked, pnlDataComment, &QWidget::hide);
}

void frmDataTable::setUnitHeadings() {
    m_model.setUnits(m_units.sUnitPrimary(), m_units.sUnitSecond());
    // The designed widths, widened where this screen's font would clip a heading or a date.
    const QFontMetrics headingFont = grdHelQuest->horizontalHeader()->fontMetrics();
    const QFontMetrics cellFont = grdHelQuest->fontMetrics();
    for (int column = 0; column < TraceTableModel::ColumnCount - 1; ++column) {
        const QString heading = m_model.headerData(column, Qt::Horizontal).toString();
        int width = qMax(twipsToPixels(kColumnWidths[column]), headingFont.horizontalAdvance(heading) + 16);
        if (column == TraceTableModel::RecTimeColumn)
            width = qMax(width, cellFont.horizontalAdvance(QStringLiteral("2026/01/05 00:00:00")) + 12);
        grdHelQuest->setColumnWidth(column, width);
    }
    grdHelQuest->setColumnWidth(TraceTableModel::CommentColumn,
                                twipsToPixels(kColumnWidths[TraceTableModel::CommentColumn]));
}

void frmDataTable::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layoutControls();
}

void frmDataTable::layoutControls() {
    const int gridHeight = qMax(0, height() - twipsToPixels(kHeightLeftForHeader));
    const int gridWidth = qMax(0, width() - twipsToPixels(kWidthLeftForBorder));
    const int headerHeight = twipsToPixels(kHeightLeftForHeader) - 6;
    m_header->setGeometry(twipsToPixels(kGridLeft), 0, gridWidth, headerHeight);
    grdHelQuest->setGeometry(twipsToPixels(kGridLeft), headerHeight, gridWidth, gridHeight);
    const int rowHeight = qMax(1, grdHelQuest->verticalHeader()->defaultSectionSize());
    m_visibleRows = gridHeight / rowHeight;

    const QSize panelSize(qMin(gridWidth, 360), pnlDataComment->sizeHint().height());
    pnlDataComment->setGeometry(grdHelQuest->x() + (gridWidth - panelSize.width()) / 2,
                                grdHelQuest->y() + (gridHeight - panelSize.height()) / 2, panelSize.width(),
                                panelSize.height());
}

QLineEdit* frmDataTable::fieldEdit(RecordField which) const {
    switch (which) {
    case RecordField::Recno:
        return txtRecno;
    case RecordField::StartTime:
        return txtStartTime;
    case RecordField::EndTime:
        return txtEndTime;
    case RecordField::DataDesc:
        return txtDataDesc;
    case RecordField::PUnit:
        return txtPUnit;
    case RecordField::SUnit:
        return txtSUnit;
    case RecordField::TimerSample:
        return txtTimerSample;
    }
    return nullptr;
}

QString frmDataTable::field(RecordField which) const {
    return fieldEdit(which)->text();
}

void frmDataTable::setField(RecordField which, const QString& text) {
    fieldEdit(which)->setText(text);
}

int frmDataTable::rowCount() const {
    ensureFilled();
    return m_model.size();
}

void frmDataTable::ensureFilled() const {
    // Whoever asks for rows by number gets them all, even while the fill is under way.
    if (m_model.filling())
        const_cast<frmDataTable*>(this)->finishFilling();
}

QString frmDataTable::GetDate(int row) const {
    ensureFilled();
    return m_model.text(row, TraceTableModel::RecTimeColumn);
}

QString frmDataTable::GetValuePrimary(int row) const {
    ensureFilled();
    return m_model.text(row, TraceTableModel::PValColumn);
}

QString frmDataTable::GetValueSecond(int row) const {
    ensureFilled();
    return m_model.text(row, TraceTableModel::SValColumn);
}

void frmDataTable::RowSelected(int row) {
    ensureFilled();
    if (row < 0 || row >= m_model.size())
        return;
    m_model.setSelectedRow(row);
    grdHelQuest->scrollTo(m_model.index(row, 0), QAbstractItemView::PositionAtTop);
}

void frmDataTable::ClearData() {
    m_model.clearRows();
    txtEndTime->clear();
    txtStartTime->clear();
    m_sampleCounter = 0;
    workingTrace().restart(0);
    if (!m_store.clearTrace())
        messages().notice(m_store.lastError().number + QStringLiteral(":") + m_store.lastError().description);
    txtRecno->clear();
    showMeterUnits();
    txtDataDesc->clear();
    {
        const QSignalBlocker quiet(CmbSample);
        CmbSample->setCurrentIndex(0);
    }
    m_heldReference = kNoReference;
    m_autoHoldCount = 0;
    m_timeline.reset();
}

int frmDataTable::filterIndex() const {
    return CmbSample->currentIndex();
}

QString frmDataTable::filterCaption() const {
    return CmbSample->currentText();
}

void frmDataTable::setPrinting(std::function<void(QWidget*)> printTrace,
                               std::function<void(QWidget*)> printGrid) {
    m_printTrace = std::move(printTrace);
    m_printGrid = std::move(printGrid);
    m_printDataAction->setEnabled(bool(m_printTrace));
    m_printGridAction->setEnabled(bool(m_printGrid));
}

void frmDataTable::PrintData() {
    if (m_printTrace)
        m_printTrace(this);
}

void frmDataTable::PrintFlexGrid() {
    if (m_printGrid)
        m_printGrid(this);
}

void frmDataTable::filterChanged() {
    refreshRows();
}

// The rows' rowids are read a slice at a time from the event loop: a trace of a
// million samples fills in while the windows are already shown and usable.
void frmDataTable::refreshRows() {
    if (!m_model.startFill(filterIndex())) {
        messages().notice(m_store.lastError().number + QStringLiteral(":") + m_store.lastError().description);
        return;
    }
    fillSlice();
}

void frmDataTable::fillSlice() {
    constexpr int kSliceMs = 8; // well inside a frame, so the windows keep answering
    if (m_model.fillSome(kSliceMs))
        QTimer::singleShot(0, this, &frmDataTable::fillSlice);
}

void frmDataTable::finishFilling() {
    // A new sample is numbered after the rows shown, so they must all be there first.
    m_model.finishFill();
}

// ---- Storing one sample ----

int frmDataTable::samplesPerTimedSample() const {
    // Blank or 0 would divide by zero: then every reading is a timed sample.
    const double n = roundHalfEven(parseLeadingNumber(txtTimerSample->text()));
    return (n >= 1.0 && n <= 32767.0) ? static_cast<int>(n) : 1;
}

void frmDataTable::advanceSampleCounter() {
    m_sampleCounter = static_cast<qint16>((m_sampleCounter + 1) % samplesPerTimedSample());
}

std::optional<ReasonText> frmDataTable::holdReason(const QString& holdWord) {
    // The tolerance of these tests is never assigned, so it is 0: in HOLD every
    // reading below the held one matches and none at or above it; in AUTOHOLD a
    // reading below the held one matches by percent. Saved records and their
    // filters are read with this rule, so a new trace follows it too.
    constexpr double tolerance = 0.0;
    const double reading = dValuePrimary;
    if (holdWord == QLatin1String("HOLD")) {
        if (reading < m_heldReference) {
            const double ratio = 1.0 - reading / m_heldReference;
            Q_UNUSED(ratio);
            if (0.1 > tolerance)
                return ReasonText::MatchLevel;
        } else if (0.008 * tolerance > reading - m_heldReference) {
            return ReasonText::MatchLevel;
        }
        return std::nullopt;
    }
    if (holdWord == QLatin1String("AUTOHOLD")) {
        if (reading == m_heldReference)
            return std::nullopt;
        ++m_autoHoldCount;
        if (m_autoHoldCount > 200)
            return ReasonText::MatchLevel;
        if (0.08 * tolerance > reading - m_heldReference)
            return ReasonText::MatchPercent;
    }
    return std::nullopt;
}

std::optional<ReasonText> frmDataTable::decideReason() {
    if (m_sampleCounter == 0)
        return ReasonText::Time;
    const StatePanel* state = forms().state;
    const QString maxText = state ? trimBlanks(state->limitMaxText()) : QString();
    const QString minText = state ? trimBlanks(state->limitMinText()) : QString();
    if (!maxText.isEmpty() && dValuePrimary > parseLeadingNumber(maxText))
        return ReasonText::OverMax;
    if (!minText.isEmpty() && dValuePrimary < parseLeadingNumber(minText))
        return ReasonText::BelowMin;
    return holdReason(state ? trimBlanks(state->mathText()) : QString());
}

void frmDataTable::reportStoreFailure() {
    // The polling cycle stores a sample every second: one message for a run of failures.
    if (m_storeFailureReported)
        return;
    m_storeFailureReported = true;
    // Never a box: a trace runs unattended, and the polling must not wait for a click.
    statusReports().report(QStringLiteral("A sample could not be stored in the record database \"%1\": %2. "
                                          "The measurement goes on.")
                               .arg(m_store.filePath(), m_store.lastError().description));
}

void frmDataTable::AppendData() {
    // The mark belongs to the readings handed over for this call only.
    const bool noReply = std::exchange(m_noReply, false);
    const std::optional<ReasonText> reason = decideReason();
    advanceSampleCounter();
    if (!reason)
        return;
    m_heldReference = dValuePrimary;
    m_autoHoldCount = 0;
    ensureFilled();
    const qint64 seqNo = m_model.size();

    const SampleTimeline::Times t = m_timeline.next(session().lastReadingTime, clock().now());
    const QString pVal = storedReadingText(dValuePrimary, m_units.sUnitPrimary());
    const QString sVal = storedReadingText(dValueSecond, m_units.sUnitSecond());
    // The writer thread stores it; only a full queue refuses it. The times move on
    // only with a taken sample, so the next one measures its gap from the last taken.
    if (!workingTrace().store(
            {seqNo, t.recTime, pVal, sVal, reasonCode(*reason), t.timeTick, t.diffLastTime, noReply})) {
        reportStoreFailure();
        return;
    }
    m_storeFailureReported = false;
    m_timeline.take(t);

    m_model.appendRow(seqNo, t.recTime, pVal, sVal, *reason, noReply);
    // A trace started before the meter told its function (--start) would otherwise
    // be saved with the blank units of the moment it was cleared.
    if (seqNo == 0)
        showMeterUnits();
    keepNewestInView();
}

void frmDataTable::showMeterUnits() {
    txtPUnit->setText(m_units.sUnitPrimary());
    txtSUnit->setText(m_units.sUnitSecond());
    setUnitHeadings();
}

void frmDataTable::keepNewestInView() {
    // The grid's header finds a row's position by adding up every row above it, so
    // scrolling costs time in proportion to the trace. Scroll once when the event
    // loop comes round, not inside every append: storing a sample stays as quick at a
    // million rows as at a thousand, and the grid shows the newest row when it paints.
    // Samples that come faster than the frame rate (the fast clock) scroll once a frame.
    if (m_scrollPending || m_model.size() <= m_visibleRows)
        return;
    m_scrollPending = true;
    atFramePace(this, [this] {
        m_scrollPending = false;
        if (m_model.size() > m_visibleRows)
            grdHelQuest->scrollToBottom();
    });
}

// ---- Comments ----

void frmDataTable::openCommentEditor(const QModelIndex& cell) {
    if (!cell.isValid() || cell.column() != TraceTableModel::CommentColumn)
        return;
    m_commentRow = cell.row();
    txtDataComment->setText(m_model.text(m_commentRow, TraceTableModel::CommentColumn));
    layoutControls();
    pnlDataComment->show();
    pnlDataComment->raise();
    txtDataComment->setFocus();
}

void frmDataTable::acceptComment() {
    const QString comment = txtDataComment->text();
    const QString recTime = m_model.text(m_commentRow, TraceTableModel::RecTimeColumn).trimmed();
    // The sample is found by its time text, so every sample of that second takes the comment.
    if (!m_store.updateSampleComment(comment, recTime)) {
        // Left open so that the text can be corrected (a single quote cannot be stored).
        messages().notice(m_store.lastError().number + QStringLiteral(":") + m_store.lastError().description);
        return;
    }
    m_model.setCommentWhereTime(recTime, comment);
    pnlDataComment->hide();
}

} // namespace kvx
