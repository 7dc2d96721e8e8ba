#include "frmKVX5130.h"

#include "ReportKeys.h"
#include "Twips.h"

#include "ReadingWindows.h"
#include "RecordKeys.h"

#include <QButtonGroup>
#include <QDateTime>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace kvx {

namespace {

constexpr int kPanelWidthTwips = 4100;
constexpr int kPanelHeightTwips = 3420;
constexpr int kKeyHeight = 16;
constexpr int kFontPixels = 11;

// A small, narrow face: the captions must fit keys a fifth of the panel wide.
QFont panelFont(const QFont& base, int pixelSize) {
    QFont f = base;
    f.setPixelSize(pixelSize);
    f.setStretch(QFont::SemiCondensed);
    return f;
}

} // namespace

frmKVX5130::frmKVX5130(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("frmKVX5130"));
    setProperty("kvxForm", true);
    setWindowTitle(QStringLiteral("KVX-5130"));
    m_exitAction = [] { std::exit(0); };
    // The readings the panel hands to the working trace reach the windows from there.
    showReadingsInWindows();

    m_timer2 = new QTimer(this);
    m_timer2->setObjectName(QStringLiteral("Timer2"));
    m_timer2->setTimerType(Qt::PreciseTimer);
    m_timer2->setInterval(1000);
    connect(m_timer2, &QTimer::timeout, this, &frmKVX5130::onTimer2Tick);

    buildUi();
    resize(twipsToPixels(kPanelWidthTwips), twipsToPixels(kPanelHeightTwips));
    forms().panel = this;
}

frmKVX5130::~frmKVX5130() {
    if (forms().panel == this)
        forms().panel = nullptr;
}

void frmKVX5130::buildUi() {
    setFont(panelFont(font(), kFontPixels));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);

    auto* tabs = new QTabWidget(this);
    tabs->setObjectName(QStringLiteral("tabPanel"));
    tabs->setDocumentMode(true);
    tabs->setStyleSheet(QStringLiteral("QTabBar::tab { height: 15px; padding: 0 8px; }"));
    tabs->addTab(buildFunctionPage(), QStringLiteral("Function"));
    tabs->addTab(buildRecordPage(), QStringLiteral("Record"));
    // The clock sits in the free space beside the tabs.
    m_timeDisplay = new QLabel(tabs);
    m_timeDisplay->setObjectName(QStringLiteral("TimeDisplay"));
    m_timeDisplay->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_timeDisplay->setContentsMargins(0, 0, 2, 0);
    tabs->setCornerWidget(m_timeDisplay, Qt::TopRightCorner);
    layout->addWidget(tabs, 1);
    layout->addWidget(buildTraceFrame());

    applyCompactLook();
    fixClockWidth();
}

void frmKVX5130::fixClockWidth() {
    // The clock changes every second. Unless its size is fixed, each new text lays
    // the tab widget out again, and that repaints the whole panel, at every tick.
    int widest = 0;
    for (int month = 1; month <= 12; ++month) {
        const QDateTime longest(QDate(2000, month, 28), QTime(23, 58, 58));
        widest = std::max(widest, m_timeDisplay->fontMetrics().horizontalAdvance(panel::clockDisplayText(longest)));
    }
    const QMargins margins = m_timeDisplay->contentsMargins();
    m_timeDisplay->setFixedSize(widest + margins.left() + margins.right() + 2, m_timeDisplay->sizeHint().height());
}

void frmKVX5130::applyCompactLook() {
    // The child window is small: frame titles sit on the frame line instead of above
    // it, and option captions sit close to their circles. Only the frames are styled,
    // so that the keys keep the platform's look.
    const QString frameStyle = QStringLiteral(
        "QGroupBox { border: 1px solid palette(mid); border-radius: 2px; margin-top: 6px; padding-top: 3px; }"
        "QGroupBox::title { subcontrol-origin: margin; subcontrol-position: top left; left: 6px; padding: 0 "
        "2px; }"
        "QRadioButton, QCheckBox { spacing: 3px; }");
    for (QGroupBox* frame : findChildren<QGroupBox*>())
        frame->setStyleSheet(frameStyle);
    // Polishing under a style sheet, and the theme's own fonts for keys, would both
    // replace the panel's small font; every control is polished now and then given
    // it explicitly (the record list keeps its fixed-width face).
    const QList<QWidget*> controls = findChildren<QWidget*>();
    for (QWidget* control : controls)
        control->ensurePolished();
    for (QWidget* control : controls) {
        if (!qobject_cast<QListWidget*>(control))
            control->setFont(font());
    }
}

QWidget* frmKVX5130::buildFunctionPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 2, 0, 0);
    layout->setSpacing(2);
    layout->addWidget(buildFunctionKeys());
    layout->addWidget(buildModeKeys());
    layout->addWidget(buildRangeFrames(), 1);
    return page;
}

QPushButton* frmKVX5130::addKey(const QString& name, const QString& caption, void (frmKVX5130::*handler)()) {
    return addKey(name, caption, [this, handler] { (this->*handler)(); });
}

QPushButton* frmKVX5130::addKey(const QString& name, const QString& caption, std::function<void()> handler) {
    auto* button = new QPushButton(caption, this);
    button->setObjectName(name);
    button->setFixedHeight(kKeyHeight);
    // Keys share the width evenly; the layout check in the tests keeps every caption whole.
    button->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    button->setAutoDefault(false);
    button->setFocusPolicy(Qt::TabFocus);
    connect(button, &QPushButton::clicked, this, std::move(handler));
    return button;
}

QWidget* frmKVX5130::buildFunctionKeys() {
    auto* box = new QWidget(this);
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(1);
    constexpr int columns = 5;
    int place = 0;
    for (const MeterFunction& function : meterFunctions()) {
        QPushButton* button = addKey(QLatin1String(function.key), QString::fromUtf8(function.caption),
                                     [this, &function] { runFunctionKey(function); });
        button->setAccessibleName(QString::fromLatin1(function.spokenName));
        grid->addWidget(button, place / columns, place % columns);
        ++place;
    }
    key(QStringLiteral("cmdOhm"))->setToolTip(QStringLiteral("Resistance"));
    key(QStringLiteral("cmdCapacitance"))->setToolTip(QStringLiteral("Capacitance"));
    key(QStringLiteral("cmdContinue"))->setToolTip(QStringLiteral("Continuity"));
    return box;
}

QWidget* frmKVX5130::buildModeKeys() {
    auto* box = new QWidget(this);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(1);
    row->addWidget(addKey(QStringLiteral("cmdHold"), QStringLiteral("Hold"), &frmKVX5130::onHold));
    row->addWidget(addKey(QStringLiteral("cmdMaxMin"), QStringLiteral("Max/Min"), &frmKVX5130::onMaxMin));
    row->addWidget(addKey(QStringLiteral("cmdREL"), QStringLiteral("Rel"), &frmKVX5130::onREL));
    row->addWidget(addKey(QStringLiteral("cmdComp"), QStringLiteral("Comp"), &frmKVX5130::onComp));
    row->addWidget(addKey(QStringLiteral("cmdDBM"), QStringLiteral("dbm"), &frmKVX5130::onDBM));
    return box;
}

QWidget* frmKVX5130::buildRangeFrames() {
    using panel::RangeGroup;
    // The four range groups share one place; a function key brings its own group forward.
    m_rangeStack = new QStackedWidget(this);
    m_rangeStack->setObjectName(QStringLiteral("rangeFrames"));
    m_frame2 = buildRangeFrame(RangeGroup::Voltage, QStringLiteral("Frame2"), QStringLiteral("Voltage Range"),
                               QStringLiteral("OptVolSetting"), 3);
    m_frame3 = buildRangeFrame(RangeGroup::Current, QStringLiteral("Frame3"), QStringLiteral("Current Range"),
                               QStringLiteral("OptCurSetting"), 3);
    m_frame4 = buildRangeFrame(RangeGroup::Resistance, QStringLiteral("Frame4"),
                               QStringLiteral("Resistance Range"), QStringLiteral("optkOhm"), 3);
    m_frame5 = buildRangeFrame(RangeGroup::Capacitance, QStringLiteral("Frame5"),
                               QStringLiteral("Capacitance Range"), QStringLiteral("optCapacity"), 3);
    for (QGroupBox* frame : {m_frame2, m_frame3, m_frame4, m_frame5})
        m_rangeStack->addWidget(frame);
    m_rangeStack->setCurrentWidget(m_frame2);
    return m_rangeStack;
}

QGroupBox* frmKVX5130::buildRangeFrame(panel::RangeGroup group, const QString& frameName,
                                       const QString& title, const QString& optionPrefix, int columns) {
    auto* frame = new QGroupBox(title, this);
    frame->setObjectName(frameName);
    frame->setProperty("Tag", QString());
    auto* grid = new QGridLayout(frame);
    grid->setContentsMargins(4, 1, 2, 1);
    grid->setHorizontalSpacing(3);
    grid->setVerticalSpacing(0);
    auto* options = new QButtonGroup(frame);
    const auto& table = panel::rangeOptions(group);
    const int count = static_cast<int>(table.size());
    for (int i = 0; i < count; ++i) {
        auto* option = new QRadioButton(table[static_cast<size_t>(i)].caption, frame);
        option->setObjectName(optionPrefix + QLatin1Char('_') + QString::number(i));
        option->setChecked(table[static_cast<size_t>(i)].value == 0.0);
        options->addButton(option, i);
        // A last option alone in its row may take the room of two, so that its
        // caption does not widen the first column.
        const bool aloneInRow = i == count - 1 && i % columns == 0;
        grid->addWidget(option, i / columns, i % columns, 1, aloneInRow ? 2 : 1);
    }
    connect(options, &QButtonGroup::idClicked, this,
            [this, group](int index) { onRangeOption(group, index); });
    return frame;
}

void frmKVX5130::onShutter() {
    ReportKeys::saveSnapshot();
}
void frmKVX5130::onPrint() {
    ReportKeys::printReport(this);
}
void frmKVX5130::onSaveRecordFile() {
    ReportKeys::saveRecordFileAs(this);
}
void frmKVX5130::onOpenRecordFile() {
    ReportKeys::openRecordFile(this);
}
void frmKVX5130::onExportCsv() {
    ReportKeys::exportCsvAs(this);
}

void frmKVX5130::onExportPdf() {
    ReportKeys::exportPdfAs(this);
}

QWidget* frmKVX5130::buildRecordPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 2, 0, 0);
    layout->setSpacing(2);
    m_recordKeys = new RecordKeys(this);
    QWidget* keys = buildRecordPageKeys();
    layout->addWidget(keys);
    layout->addWidget(m_recordKeys->statusRow());
    layout->addWidget(m_recordKeys->recordViews(), 1);
    m_cursorText = new QLabel(page);
    m_cursorText->setObjectName(QStringLiteral("lblCursor"));
    m_cursorText->setWordWrap(true);
    layout->addWidget(m_cursorText);
    layout->addStretch();
    // Listed records need more room than the page has beside its keys: they take the
    // keys' place until a record is picked or the list is put away.
    connect(m_recordKeys, &RecordKeys::browsingChanged, this, [this, keys](bool browsing) {
        keys->setVisible(!browsing);
        m_cursorText->setVisible(!browsing);
    });
    return page;
}

QWidget* frmKVX5130::buildRecordPageKeys() {
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto* keys = new QHBoxLayout;
    keys->setSpacing(1);
    keys->addWidget(m_recordKeys->saveKey());
    keys->addWidget(m_recordKeys->listKey());
    keys->addWidget(m_recordKeys->clearKey());
    keys->addWidget(addKey(QStringLiteral("cmdQuit"), QStringLiteral("Quit"), &frmKVX5130::onQuit));
    layout->addLayout(keys);
    auto* fileKeys = new QHBoxLayout;
    fileKeys->setSpacing(1);
    QPushButton* shutter =
        addKey(QStringLiteral("cmdShutter"), QStringLiteral("JPEG"), &frmKVX5130::onShutter);
    shutter->setToolTip(QLatin1String(ReportKeys::kShutterToolTip));
    fileKeys->addWidget(shutter);
    fileKeys->addWidget(addKey(QStringLiteral("cmdPrint"), QStringLiteral("Print"), &frmKVX5130::onPrint));
    QPushButton* saveFile =
        addKey(QStringLiteral("cmdSaveFile"), QStringLiteral("Save .kvx"), &frmKVX5130::onSaveRecordFile);
    saveFile->setToolTip(QStringLiteral("Save the working trace as a record file"));
    fileKeys->addWidget(saveFile);
    QPushButton* openFile =
        addKey(QStringLiteral("cmdOpenFile"), QStringLiteral("Open .kvx"), &frmKVX5130::onOpenRecordFile);
    openFile->setToolTip(QStringLiteral("Open a record file as the working trace"));
    fileKeys->addWidget(openFile);
    QPushButton* csv =
        addKey(QStringLiteral("cmdExportCsv"), QStringLiteral("CSV"), &frmKVX5130::onExportCsv);
    csv->setToolTip(QStringLiteral("Export the working trace for spreadsheets"));
    fileKeys->addWidget(csv);
    QPushButton* pdf = addKey(QStringLiteral("cmdExportPdf"), QStringLiteral("PDF"), &frmKVX5130::onExportPdf);
    pdf->setToolTip(QStringLiteral("Save the trace report as a PDF file"));
    fileKeys->addWidget(pdf);
    layout->addLayout(fileKeys);
    return box;
}

QWidget* frmKVX5130::buildTraceFrame() {
    auto* frame = new QGroupBox(QStringLiteral("Trace Record"), this);
    frame->setObjectName(QStringLiteral("Frame1"));
    auto* grid = new QGridLayout(frame);
    grid->setContentsMargins(3, 1, 3, 1);
    grid->setHorizontalSpacing(3);
    grid->setVerticalSpacing(1);

    m_cmdStart = addKey(QStringLiteral("cmdStart"), QStringLiteral("Start"), &frmKVX5130::onStart);
    m_cmdStart->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_cmdStart->setFixedSize(56, 2 * kKeyHeight);
    setStartKeyLook(QStringLiteral("Start"), QColor(255, 0, 0), QStringLiteral("Start To Show Trace"));

    m_sampleStyle = new QButtonGroup(frame);
    auto* continuous = new QRadioButton(QStringLiteral("Continuous"), frame);
    continuous->setObjectName(QStringLiteral("optSampleStyle_0"));
    auto* trigger = new QRadioButton(QStringLiteral("Trigger"), frame);
    trigger->setObjectName(QStringLiteral("optSampleStyle_1"));
    m_sampleStyle->addButton(continuous, 0);
    m_sampleStyle->addButton(trigger, 1);
    continuous->setChecked(true);
    connect(m_sampleStyle, &QButtonGroup::idClicked, this, [this](int) { onSampleStyle(); });

    m_check1 = new QCheckBox(QStringLiteral("Simulate"), frame);
    m_check1->setObjectName(QStringLiteral("Check1"));

    m_lblInterval = new QLabel(panel::initialIntervalCaption(), frame);
    m_lblInterval->setObjectName(QStringLiteral("lblInterval"));

    grid->addWidget(m_cmdStart, 0, 0, 2, 1);
    grid->addWidget(continuous, 0, 1);
    grid->addWidget(trigger, 0, 2);
    grid->addWidget(m_check1, 1, 1);
    grid->addWidget(m_lblInterval, 1, 2);
    grid->setColumnStretch(2, 1);
    updateClockDisplay();
    return frame;
}

QPushButton* frmKVX5130::key(const QString& name) const {
    return findChild<QPushButton*>(name);
}

bool frmKVX5130::continuousStyleSelected() const {
    return m_sampleStyle->button(0)->isChecked();
}

void frmKVX5130::setSampleStyle(int index) {
    // A stored record may name neither style; the group must then show no choice.
    m_sampleStyle->setExclusive(false);
    for (int i = 0; i < 2; ++i)
        m_sampleStyle->button(i)->setChecked(i == index);
    m_sampleStyle->setExclusive(true);
}

void frmKVX5130::setCursorText(const QString& text) {
    m_cursorText->setText(text);
}

void frmKVX5130::setExitAction(std::function<void()> exitAction) {
    m_exitAction = std::move(exitAction);
}

} // namespace kvx
