#include "frmSetting.h"

#include "Forms.h"
#include "LinkSchemes.h"
#include "MeterThread.h"
#include "RecordStore.h"
#include "Services.h"
#include "Session.h"
#include "ValueRules.h"
#include "clsKVX5310.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFocusEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSerialPortInfo>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <tuple>

namespace kvx {

namespace {

// Widths of the record's text fields.
constexpr int kShortText = 20;
constexpr int kLongText = 255;

constexpr int kLowestAddress = kFirstGpibAddress;
constexpr int kHighestAddress = kLastStoredGpibAddress;

const char* const kLogoFilter = "JPG File(*.jpg)|*.jpg|Gif File(*.gif)|*.gif|BMP File(*.bmp)|*.bmp|"
                                "All Files(*.*)|*.*";

// The record keeps texts blank-padded; the dialog shows them without the padding
// at the end (leading blanks are the operator's own and stay).
QString withoutPadding(const QString& text) {
    int end = text.size();
    while (end > 0 && text[end - 1] == QLatin1Char(' '))
        --end;
    return text.left(end);
}

template <typename Widget> Widget* named(Widget* widget, const char* name) {
    widget->setObjectName(QLatin1String(name));
    return widget;
}

QComboBox* listBox(const char* name, const QStringList& items, bool editable, QWidget* parent) {
    auto* box = named(new QComboBox(parent), name);
    box->addItems(items);
    box->setEditable(editable);
    if (editable)
        box->setInsertPolicy(QComboBox::NoInsert);
    return box;
}

// A caption, the field and a unit word on one line.
QHBoxLayout* fieldLine(QWidget* field, const QString& unit = QString()) {
    auto* line = new QHBoxLayout;
    line->setSpacing(4);
    line->addWidget(field);
    if (!unit.isEmpty())
        line->addWidget(new QLabel(unit));
    line->addStretch(1);
    return line;
}

} // namespace

// --- ColorSwatch ---

ColorSwatch::ColorSwatch(QWidget* parent) : QPushButton(parent) {
    setFixedSize(64, 18);
    setCursor(Qt::PointingHandCursor);
    setToolTip(QStringLiteral("Click to choose the colour"));
    connect(this, &QPushButton::clicked, this, &ColorSwatch::chooseColor);
    setColorValue(0);
}

void ColorSwatch::setColorValue(quint32 bgr) {
    m_bgr = bgr;
    setStyleSheet(QStringLiteral("QPushButton { background-color: %1; border: 1px solid #606060; }")
                      .arg(colorFromBgr(bgr).name()));
}

void ColorSwatch::chooseColor() {
    const QColor chosen = QColorDialog::getColor(colorFromBgr(m_bgr), this, QStringLiteral("Display Color"));
    if (chosen.isValid())
        setColorValue(colorToBgr(chosen));
}

// --- Pure rules ---

QString qtFileFilter(const QString& pairFilter) {
    const QStringList parts = pairFilter.split(QLatin1Char('|'));
    QStringList filters;
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        QString name = parts[i];
        const int paren = name.indexOf(QLatin1Char('('));
        if (paren > 0)
            name = name.left(paren);
        QString patterns = parts[i + 1];
        patterns.replace(QLatin1Char(';'), QLatin1Char(' '));
        // "*.*" would miss files without an extension here.
        patterns.replace(QStringLiteral("*.*"), QStringLiteral("*"));
        filters << name.trimmed() + QStringLiteral(" (") + patterns + QLatin1Char(')');
    }
    return filters.join(QStringLiteral(";;"));
}

// --- Building ---

frmSetting::frmSetting(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("frmSetting"));
    setProperty("kvxForm", true);
    setWindowTitle(QStringLiteral("Setting"));
    setModal(false);

    chkTransmit =
        named(new QCheckBox(QStringLiteral("Turn On/Off Transmit Commands Log"), this), "chkTransmit");
    cmdDefault = named(new QPushButton(QStringLiteral("Default"), this), "cmdDefault");
    OKButton = named(new QPushButton(QStringLiteral("OK"), this), "OKButton");
    for (QPushButton* key : {cmdDefault, OKButton}) {
        key->setAutoDefault(false);
        key->setMinimumWidth(80);
    }

    auto* left = new QVBoxLayout;
    left->addWidget(buildCommon());
    left->addWidget(buildRecording());
    left->addStretch(1);
    auto* right = new QVBoxLayout;
    right->addWidget(buildColors());
    right->addWidget(buildShutter());
    right->addWidget(buildReport());
    right->addWidget(buildStore());
    right->addStretch(1);
    auto* keys = new QHBoxLayout;
    keys->addWidget(chkTransmit);
    keys->addStretch(1);
    keys->addWidget(cmdDefault);
    keys->addWidget(OKButton);
    auto* grid = new QGridLayout(this);
    grid->addLayout(left, 0, 0);
    grid->addLayout(right, 0, 1);
    grid->addLayout(keys, 1, 0, 1, 2);

    connect(chkTransmit, &QCheckBox::toggled, this, [](bool on) { session().logCommands = on; });
    connect(cmdDefault, &QPushButton::clicked, this, &frmSetting::applyDefaults);
    connect(OKButton, &QPushButton::clicked, this, &frmSetting::storeAndClose);
    OKButton->setDefault(true); // Enter in any field, the lists included, is OK
    loadFromRecord();
}

QGroupBox* frmSetting::buildCommon() {
    auto* fraComm = named(new QGroupBox(QStringLiteral("Common"), this), "fraComm");
    Option1 = named(new QRadioButton(QStringLiteral("RS-232"), fraComm), "Option1");
    Option2 = named(new QRadioButton(QStringLiteral("GPIB"), fraComm), "Option2");
    cboComPort = listBox("cboComPort", {"1", "2", "3", "4"}, false, fraComm);
    cboSerialDevice = listBox("cboSerialDevice", {}, true, fraComm);
    cboSerialDevice->lineEdit()->setPlaceholderText(QStringLiteral("by COM port number"));
    cboSerialDevice->setMinimumWidth(170);
    cboSerialDevice->setToolTip(QStringLiteral("Serial device of the meter (USB adapters included);\n"
                                               "leave empty to use the COM port number"));
    cboBuadRate = listBox("cboBuadRate", {"9600", "4800", "2400", "1200"}, false, fraComm);
    txtGPIBAddr = named(new QLineEdit(fraComm), "txtGPIBAddr");
    txtGPIBAddr->setFixedWidth(40);
    txtGPIBAddr->setAlignment(Qt::AlignRight);

    UpDown1 = named(new QWidget(fraComm), "UpDown1");
    UpDown1->setAccessibleName(QStringLiteral("GPIB address"));
    auto* arrows = new QVBoxLayout(UpDown1);
    arrows->setContentsMargins(0, 0, 0, 0);
    arrows->setSpacing(0);
    for (const auto& [arrow, by] : {std::pair{Qt::UpArrow, 1}, std::pair{Qt::DownArrow, -1}}) {
        auto* button = new QToolButton(UpDown1);
        button->setArrowType(arrow);
        button->setAutoRepeat(true);
        button->setFixedSize(16, 11);
        connect(button, &QToolButton::clicked, this, [this, by = by] { stepAddress(by); });
        arrows->addWidget(button);
    }

    cboGpibBackend = listBox("cboGpibBackend", {}, false, fraComm);
    for (const LinkScheme& scheme : linkSchemes()) {
        if (QLatin1String(scheme.method) == QLatin1String("GPIB"))
            cboGpibBackend->addItem(QLatin1String(scheme.caption), QLatin1String(scheme.name));
    }
    cboGpibPlace = listBox("cboGpibPlace", {}, true, fraComm);
    cboGpibPlace->setMinimumWidth(170);
    connect(cboGpibBackend, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &frmSetting::backendChanged);

    cmdTestConnect = named(new QPushButton(QStringLiteral("Connect Test"), fraComm), "cmdTestConnect");
    cmdTestConnect->setAutoDefault(false);
    connect(cmdTestConnect, &QPushButton::clicked, this, &frmSetting::testConnection);

    auto* form = new QFormLayout(fraComm);
    form->addRow(Option1);
    form->addRow(QStringLiteral("COM Port : "), fieldLine(cboComPort));
    form->addRow(QStringLiteral("Device : "), cboSerialDevice);
    form->addRow(QStringLiteral("Buad Rate: "), fieldLine(cboBuadRate));
    form->addRow(Option2);
    auto* addressLine = fieldLine(txtGPIBAddr);
    addressLine->insertWidget(1, UpDown1);
    form->addRow(QStringLiteral("GPIB: PrimaryAddress"), addressLine);
    form->addRow(QStringLiteral("GPIB via : "), cboGpibBackend);
    form->addRow(QStringLiteral("Board / place : "), cboGpibPlace);
    form->addRow(fieldLine(cmdTestConnect));
    return fraComm;
}

QGroupBox* frmSetting::buildRecording() {
    auto* fraRecSet = named(new QGroupBox(QStringLiteral("Sample Rate and Recording"), this), "fraRecSet");
    cboInterval =
        listBox("cboInterval", {"1", "2", "5", "10", "30", "60", "180", "300", "600"}, true, fraRecSet);
    cboTime = listBox("cboTime", {"1", "2", "5", "10", "20", "30", "60", "120", "240", "1440", "Continuous"},
                      true, fraRecSet);
    for (QComboBox* box : {cboInterval, cboTime}) {
        box->setFixedWidth(100);
        // Completion would turn a typed 12 into the listed 120.
        box->setCompleter(nullptr);
    }
    // The lists are checked whenever the focus leaves them, however it goes: Tab,
    // a click elsewhere, or OK. (The combo box hands focus events to its line edit
    // directly, past any event filter, so the application's focus change is the
    // one place that sees them all.)
    connect(qApp, &QApplication::focusChanged, this, &frmSetting::focusMoved);
    lblTotalMinutes = named(new QLabel(fraRecSet), "lblTotalMinutes");
    lblTotalMinutes->setMinimumWidth(40);
    lblTotalMinutes->setFrameShape(QFrame::Panel);
    lblTotalMinutes->setFrameShadow(QFrame::Sunken);
    lblTotalMinutes->setToolTip(QStringLiteral("Total time of a trace in minutes"));

    auto* form = new QFormLayout(fraRecSet);
    form->addRow(QStringLiteral("Interval : "), fieldLine(cboInterval, QStringLiteral("Second")));
    auto* timeLine = fieldLine(cboTime, QStringLiteral("Minute"));
    timeLine->insertWidget(2, lblTotalMinutes);
    form->addRow(QStringLiteral("Time(s) : "), timeLine);
    txtMonitor = named(new QLineEdit(fraRecSet), "txtMonitor");
    txtMonitor->setPlaceholderText(QStringLiteral("off"));
    txtMonitor->setToolTip(
        QStringLiteral("Serve the monitor page at [ADDRESS:]PORT (8080 is this computer only, "
                       "0.0.0.0:8080 every network) from the next start; empty: off"));
    form->addRow(QStringLiteral("Monitor page : "), txtMonitor);
    return fraRecSet;
}

QGroupBox* frmSetting::buildColors() {
    auto* frame = named(new QGroupBox(QStringLiteral("Display Color"), this), "Frame1");
    auto* grid = new QGridLayout(frame);
    grid->setVerticalSpacing(3);
    for (int i = 0; i < kDisplayColorCount; ++i) {
        txtColor[size_t(i)] = new ColorSwatch(frame);
        txtColor[size_t(i)]->setObjectName(QStringLiteral("txtColor_%1").arg(i));
        txtColor[size_t(i)]->setProperty("index", i);
        // Two columns keep the frame short.
        const int row = i % 4;
        const int column = (i / 4) * 2;
        grid->addWidget(new QLabel(QLatin1String(kDisplayColorCaptions[size_t(i)]), frame), row, column,
                        Qt::AlignRight);
        grid->addWidget(txtColor[size_t(i)], row, column + 1);
    }
    return frame;
}

QGroupBox* frmSetting::buildShutter() {
    auto* frame = named(new QGroupBox(QStringLiteral("Shutter Directory"), this), "Frame2");
    txtShutterDir = named(new QLineEdit(frame), "txtShutterDir");
    Command1 = named(new QPushButton(QStringLiteral("Change"), frame), "Command1");
    Command1->setAutoDefault(false);
    connect(Command1, &QPushButton::clicked, this, &frmSetting::changeShutterDir);
    auto* line = new QHBoxLayout(frame);
    line->addWidget(txtShutterDir, 1);
    line->addWidget(Command1);
    return frame;
}

QGroupBox* frmSetting::buildReport() {
    auto* fraRptMesg = named(new QGroupBox(QStringLiteral("Report Message"), this), "fraRptMesg");
    txtHeader = named(new QLineEdit(fraRptMesg), "txtHeader");
    txtFName = named(new QLineEdit(fraRptMesg), "txtFName");
    cmdLoadLogo = named(new QPushButton(QStringLiteral("Load..."), fraRptMesg), "cmdLoadLogo");
    cmdLoadLogo->setAutoDefault(false);
    cmdLoadLogo->setToolTip(QStringLiteral("Choose the logo picture of the printed report"));
    imgLOGO = named(new QLabel(fraRptMesg), "imgLOGO");
    imgLOGO->setFixedSize(150, 60);
    imgLOGO->setAlignment(Qt::AlignCenter);
    imgLOGO->setFrameShape(QFrame::Box);
    connect(cmdLoadLogo, &QPushButton::clicked, this, &frmSetting::loadLogo);
    connect(txtFName, &QLineEdit::editingFinished, this, [this] { showLogo(txtFName->text().trimmed()); });

    auto* form = new QFormLayout(fraRptMesg);
    form->addRow(QStringLiteral("Report Header"), txtHeader);
    auto* fileLine = new QHBoxLayout;
    fileLine->addWidget(txtFName, 1);
    fileLine->addWidget(cmdLoadLogo);
    form->addRow(QStringLiteral("File Name"), fileLine);
    form->addRow(QString(), imgLOGO);
    return fraRptMesg;
}

QGroupBox* frmSetting::buildStore() {
    auto* frame = named(new QGroupBox(QStringLiteral("Record Store"), this), "fraStore");
    txtDatabase = named(new QLineEdit(frame), "txtDatabase");
    txtDatabase->setPlaceholderText(QStringLiteral("KVX5130.mdb in the program folder"));
    txtDatabase->setToolTip(
        QStringLiteral("A lab server shared by many benches: postgresql://user@host:5432/database\n"
                       "The password goes in ~/.pgpass or PGPASSWORD, never here.\n"
                       "Taken at the next start."));
    txtBench = named(new QLineEdit(frame), "txtBench");
    txtBench->setPlaceholderText(defaultBenchName(session().programFolder));
    txtBench->setToolTip(QStringLiteral("This bench's name: saved records carry it, and on a lab server\n"
                                        "each bench has its own working trace. Taken at the next start."));
    auto* form = new QFormLayout(frame);
    form->addRow(QStringLiteral("Database"), txtDatabase);
    form->addRow(QStringLiteral("Bench"), txtBench);
    return frame;
}

// --- Filling from the record ---

void frmSetting::showEvent(QShowEvent* event) {
    if (!event->spontaneous())
        loadFromRecord();
    QDialog::showEvent(event);
}

void frmSetting::loadFromRecord() {
    const OperationRecord& op = session().operation;
    const bool gpib = trimBlanks(op.gpibFlag) == QLatin1String("1");
    Option1->setChecked(!gpib);
    Option2->setChecked(gpib);
    cboComPort->setCurrentIndex(op.comPort >= 1 && op.comPort <= cboComPort->count() ? op.comPort - 1 : -1);
    // A rate the list does not hold (a first run stores 0) shows the meter's usual 9600.
    cboBuadRate->setCurrentIndex(std::max(0, cboBuadRate->findText(QString::number(op.baudRate))));
    fillSerialDevices(op.serialDevice.trimmed());
    txtGPIBAddr->setText(QString::number(op.gpibAddress));

    // The LAN flag names the raw socket with its own address field; otherwise the
    // back-end text says which kind, and one the registry does not read shows the first.
    QString place;
    const LinkScheme* scheme = backendScheme(op.gpibBackend, &place);
    int row = scheme ? cboGpibBackend->findData(QLatin1String(scheme->name)) : -1;
    if (op.lanFlag.trimmed() == QLatin1String("1")) {
        for (int i = 0; i < cboGpibBackend->count(); ++i) {
            if (linkScheme(cboGpibBackend->itemData(i).toString())->lanSocket)
                row = i;
        }
        place = op.lanAddress.trimmed();
    }
    cboGpibBackend->blockSignals(true);
    cboGpibBackend->setCurrentIndex(std::max(row, 0));
    cboGpibBackend->blockSignals(false);
    fillBackendPlaces(place);

    cboInterval->setEditText(withoutPadding(op.samplingInterval));
    cboTime->setEditText(withoutPadding(op.totalTime));
    const double minutes = parseLeadingNumber(op.totalTime);
    lblTotalMinutes->setText(minutes > 0 ? fixedDecimals(minutes, 1) : QString());
    // The swatches show what the views paint with, also before any colour was stored.
    const DisplayColors& colors = displayColorsInUse(op.colors);
    for (int i = 0; i < kDisplayColorCount; ++i)
        txtColor[size_t(i)]->setColorValue(colors[size_t(i)]);
    txtShutterDir->setText(withoutPadding(op.snapshotFolder));
    txtHeader->setText(withoutPadding(op.reportHeader));
    txtFName->setText(withoutPadding(op.logoFile));
    showLogo(txtFName->text().trimmed());
    txtDatabase->setText(op.databaseText.trimmed());
    txtBench->setText(op.benchName.trimmed());
    chkTransmit->setChecked(session().logCommands);
    txtMonitor->setText(op.monitorAddress.trimmed());
}

void frmSetting::fillSerialDevices(const QString& chosen) {
    cboSerialDevice->clear();
    cboSerialDevice->addItem(QString());
    const auto ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : ports) {
        cboSerialDevice->addItem(port.systemLocation());
        const QString about =
            QStringList{port.description(), port.manufacturer()}.join(QLatin1Char(' ')).trimmed();
        if (!about.isEmpty())
            cboSerialDevice->setItemData(cboSerialDevice->count() - 1, about, Qt::ToolTipRole);
    }
    cboSerialDevice->setEditText(chosen);
}

void frmSetting::backendChanged() {
    fillBackendPlaces(QString());
}

const LinkScheme& frmSetting::chosenScheme() const {
    // The list holds only the registry's GPIB schemes, and always one is chosen.
    const LinkScheme* scheme = linkScheme(cboGpibBackend->currentData().toString());
    return scheme ? *scheme : *linkScheme(cboGpibBackend->itemData(0).toString());
}

QString frmSetting::chosenBackend() const {
    return backendText(chosenScheme(), cboGpibPlace->currentText());
}

// What goes after the back-end: a board number, a serial device, or host:port.
void frmSetting::fillBackendPlaces(const QString& chosen) {
    const LinkScheme& scheme = chosenScheme();
    cboGpibPlace->clear();
    switch (scheme.places) {
    case LinkPlaces::Boards:
        cboGpibPlace->addItems({"0", "1", "2", "3"});
        break;
    case LinkPlaces::SerialDevices:
        for (const QSerialPortInfo& port : QSerialPortInfo::availablePorts())
            cboGpibPlace->addItem(port.systemLocation());
        break;
    case LinkPlaces::Typed:
        break;
    }
    cboGpibPlace->lineEdit()->setPlaceholderText(scheme.hint);
    cboGpibPlace->setEditText(chosen.isEmpty() ? QLatin1String(scheme.defaultPlace) : chosen);
}

void frmSetting::stepAddress(int by) {
    const int address = int(parseLeadingNumber(txtGPIBAddr->text())) + by;
    txtGPIBAddr->setText(QString::number(std::clamp(address, kLowestAddress, kHighestAddress)));
}

// --- Validation on leaving the lists ---

namespace {

// Inside the list: the box, its line edit, or its open drop-down.
bool within(const QWidget* widget, const QComboBox* list) {
    const QWidget* dropDown = list->view();
    return widget && (widget == list || list->isAncestorOf(widget) || widget == dropDown ||
                      dropDown->isAncestorOf(widget));
}

} // namespace

void frmSetting::focusMoved(QWidget* old, QWidget* now) {
    if (within(old, cboInterval) && !within(now, cboInterval))
        validateInterval();
    if (within(old, cboTime) && !within(now, cboTime))
        validateTotalTime();
}

// The interval counts readings, so it is a whole number from 1 to 600.
void frmSetting::validateInterval() {
    const double seconds = parseLeadingNumber(cboInterval->currentText());
    if (seconds > 600)
        cboInterval->setEditText(QStringLiteral("600"));
    else if (seconds < 2)
        cboInterval->setEditText(QStringLiteral("1"));
}

void frmSetting::validateTotalTime() {
    double minutes = parseLeadingNumber(cboTime->currentText());
    if (minutes > 30) {
        cboTime->setEditText(QStringLiteral("30"));
        minutes = 30;
    }
    if (minutes <= 0) {
        cboTime->setEditText(QStringLiteral("Continuous"));
        minutes = 0;
    }
    if (minutes != 0)
        lblTotalMinutes->setText(fixedDecimals(minutes, 1));
}

// --- Keys ---

void frmSetting::applyDefaults() {
    for (int i = 0; i < kDisplayColorCount; ++i)
        txtColor[size_t(i)]->setColorValue(kDefaultDisplayColors[size_t(i)]);
    txtShutterDir->setText(session().programFolder + QStringLiteral("/Working"));
}

void frmSetting::changeShutterDir() {
    const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Shutter Directory"),
                                                             txtShutterDir->text().trimmed());
    if (!folder.isEmpty())
        txtShutterDir->setText(QDir::toNativeSeparators(folder));
}

void frmSetting::loadLogo() {
    const QString start = QFileInfo(txtFName->text().trimmed()).absolutePath();
    const QString file = QFileDialog::getOpenFileName(this, QStringLiteral("Logo"), start,
                                                      qtFileFilter(QLatin1String(kLogoFilter)));
    if (file.isEmpty())
        return;
    txtFName->setText(file);
    showLogo(file);
}

void frmSetting::showLogo(const QString& path) {
    const QPixmap picture(path);
    if (picture.isNull()) {
        imgLOGO->setPixmap(QPixmap());
        imgLOGO->setText(path.isEmpty() ? QStringLiteral("(no logo)") : QStringLiteral("(not a picture)"));
        return;
    }
    imgLOGO->setPixmap(
        picture.scaled(imgLOGO->size() - QSize(4, 4), Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

void frmSetting::testConnection() {
    // The place settings of this program go on the controls first; the test then
    // configures the chosen link with the dialog's port, rate or address.
    const QString devicePath = cboSerialDevice->currentText().trimmed();
    const QString backend = chosenBackend();
    const auto number = [](const QString& text) {
        return roundToInt16(parseLeadingNumber(text)).value_or(0);
    };
    const auto baud = qint32(parseLeadingNumber(cboBuadRate->currentText()));
    const bool serialChosen = Option1->isChecked();
    const qint16 comPort = number(cboComPort->currentText());
    const qint16 address = number(txtGPIBAddr->text());
    // The dialog stays usable while a silent meter holds the test for its timeouts.
    cmdTestConnect->setEnabled(false);
    meterThread().call<QString>(
        this,
        [=](clsKVX5310& meter) {
            meter.CWSerial1().setDevicePath(devicePath);
            meter.CWGPIB1().setBackend(backend);
            return runConnectionTest(meter, serialChosen, comPort, baud, address);
        },
        [this](QString outcome) {
            cmdTestConnect->setEnabled(true);
            messages().notice(outcome);
        });
}

// The order of the stores is the record's contract with the operator: see the
// snapshot folder, stored twice so that the untrimmed text is what remains.
void frmSetting::storeAndClose() {
    // Whatever had the focus, the record never takes a value the rules would replace.
    validateInterval();
    validateTotalTime();
    if (!textsFitRecord() || !storeTextAccepted())
        return;

    OperationRecord& op = session().operation;
    op.logoFile = fixedText(txtFName->text().trimmed(), kLongText);
    op.reportHeader = fixedText(txtHeader->text(), kLongText);

    const double port = parseLeadingNumber(cboComPort->currentText());
    if (port >= 1 && port < 5) {
        op.comPort = qint16(port);
        op.baudRate = roundToInt16(parseLeadingNumber(cboBuadRate->currentText())).value_or(op.baudRate);
    }
    op.serialDevice = cboSerialDevice->currentText().trimmed();

    const double address = parseLeadingNumber(txtGPIBAddr->text());
    const qint16 wholeAddress = roundToInt16(address).value_or(-1);
    if (address >= kLowestAddress && address < kHighestAddress + 1 && wholeAddress <= kHighestAddress)
        op.gpibAddress = wholeAddress;
    const bool lan = chosenScheme().lanSocket;
    op.gpibBackend = chosenBackend();
    op.lanFlag = lan ? QStringLiteral("1") : QStringLiteral("0");
    if (lan)
        op.lanAddress = cboGpibPlace->currentText().trimmed();

    const QString interval = cboInterval->currentText();
    op.samplingInterval = fixedText(interval, kShortText);
    if (parseLeadingNumber(interval) != 0)
        if (DataTable* table = forms().dataTable)
            table->setField(RecordField::TimerSample, interval);
    op.totalTime = fixedText(cboTime->currentText(), kShortText);

    for (int i = 0; i < kDisplayColorCount; ++i)
        op.colors[size_t(i)] = txtColor[size_t(i)]->colorValue();

    op.snapshotFolder = fixedText(trimBlanks(txtShutterDir->text()), kLongText);
    op.serialFlag = Option1->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
    op.gpibFlag = Option2->isChecked() ? QStringLiteral("1") : QStringLiteral("0");
    op.snapshotFolder = fixedText(txtShutterDir->text(), kLongText);
    op.monitorAddress = txtMonitor->text().trimmed();
    op.databaseText = txtDatabase->text().trimmed();
    op.benchName = txtBench->text().trimmed();

    if (!session().tracing)
        reconfigureLinks();
    emit colorsChanged();
    accept();
}

// A text longer than its field of the operation file is refused, never cut: a cut
// folder or file name names another one.
bool frmSetting::textsFitRecord() {
    using Op = OperationRecord;
    const QString place = cboGpibPlace->currentText().trimmed();
    const std::tuple<QString Op::*, QString, const char*, QWidget*> entries[] = {
        {&Op::reportHeader, txtHeader->text(), "report header", txtHeader},
        {&Op::logoFile, txtFName->text().trimmed(), "logo file name", txtFName},
        {&Op::snapshotFolder, txtShutterDir->text(), "shutter directory", txtShutterDir},
        {&Op::samplingInterval, cboInterval->currentText(), "interval", cboInterval},
        {&Op::totalTime, cboTime->currentText(), "total time", cboTime},
        {&Op::serialDevice, cboSerialDevice->currentText().trimmed(), "serial device", cboSerialDevice},
        {&Op::gpibBackend, chosenBackend(), "GPIB connection", cboGpibPlace},
        {&Op::lanAddress, place, "LAN address", cboGpibPlace},
        {&Op::monitorAddress, txtMonitor->text().trimmed(), "monitor page address", txtMonitor},
        {&Op::databaseText, txtDatabase->text().trimmed(), "database", txtDatabase},
        {&Op::benchName, txtBench->text().trimmed(), "bench name", txtBench},
    };
    for (const auto& [field, text, caption, control] : entries) {
        if (session().operation.fits(field, text))
            continue;
        messages().notice(QStringLiteral("The %1 is %2 bytes long; the settings file holds %3. "
                                         "Shorten it: nothing has been stored.")
                              .arg(QLatin1String(caption))
                              .arg(withoutPadding(text).toUtf8().size())
                              .arg(Op::width(field)),
                          QStringLiteral("Setting"));
        control->setFocus();
        return false;
    }
    return true;
}

// A store text with a password in it is refused: the settings file is no place for one.
bool frmSetting::storeTextAccepted() {
    StoreTarget target;
    QString why;
    if (parseStoreText(txtDatabase->text(), QString(), &target, &why))
        return true;
    messages().notice(QStringLiteral("The database text is refused: %1. Nothing has been stored.").arg(why),
                      QStringLiteral("Setting"));
    txtDatabase->setFocus();
    return false;
}

// New port, rate and address take effect when the link is next opened
// (connection test or the panel's restore); while a trace runs they wait.
void frmSetting::reconfigureLinks() {
    const OperationRecord op = session().operation;
    meterThread().post([op](clsKVX5310& meter) {
        SerialControl& serial = meter.CWSerial1();
        serial.setPortNumber(op.comPort);
        serial.setBaudRate(op.baudRate);
        serial.setDevicePath(op.serialDevice);
        GpibControl& gpib = meter.CWGPIB1();
        gpib.setPrimaryAddress(op.gpibAddress);
        gpib.setBackend(op.gpibBackend);
    });
}

} // namespace kvx
