#pragma once
// frmSetting: edits the operation record (link, sampling interval and total
// time, display colours, snapshot folder, report header and logo) and holds the
// command-log switch and the connection test. Nothing reaches the record before
// OK; the record reaches the disk when the operation file is written.

#include "DisplayColors.h"

#include <QDialog>
#include <QPushButton>
#include <array>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QRadioButton;

namespace kvx {

struct LinkScheme;

// One colour swatch: shows its colour and offers the colour chooser on click.
class ColorSwatch : public QPushButton {
    Q_OBJECT
public:
    explicit ColorSwatch(QWidget* parent = nullptr);
    void setColorValue(quint32 bgr);
    quint32 colorValue() const { return m_bgr; }

private:
    void chooseColor();
    quint32 m_bgr = 0;
};

// The logo chooser's filter, written in the "Name(*.x)|*.x|..." pair form, in Qt's form.
QString qtFileFilter(const QString& pairFilter);

class frmSetting : public QDialog {
    Q_OBJECT
public:
    explicit frmSetting(QWidget* parent = nullptr);

    // Shows the operation record's values; runs whenever the dialog is opened.
    void loadFromRecord();

signals:
    // OK stored the swatches; the views take their colours from the record.
    void colorsChanged();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QGroupBox* buildCommon();
    QGroupBox* buildRecording();
    QGroupBox* buildColors();
    QGroupBox* buildShutter();
    QGroupBox* buildReport();
    QGroupBox* buildStore();
    void fillSerialDevices(const QString& chosen);
    void backendChanged();
    void fillBackendPlaces(const QString& chosen);
    // The connection kind the "GPIB via" list shows, and the back-end text it makes with the place.
    const LinkScheme& chosenScheme() const;
    QString chosenBackend() const;
    void stepAddress(int by);

    void focusMoved(QWidget* old, QWidget* now);
    void validateInterval();
    void validateTotalTime();
    void applyDefaults();
    void changeShutterDir();
    void loadLogo();
    void showLogo(const QString& path);
    void testConnection();
    void storeAndClose();
    bool storeTextAccepted();
    bool textsFitRecord();
    void reconfigureLinks();

    QRadioButton* Option1;
    QRadioButton* Option2;
    QComboBox* cboComPort;
    QComboBox* cboSerialDevice;
    QComboBox* cboBuadRate;
    QLineEdit* txtGPIBAddr;
    QWidget* UpDown1;
    QComboBox* cboGpibBackend;
    QComboBox* cboGpibPlace;
    QPushButton* cmdTestConnect;
    QComboBox* cboInterval;
    QComboBox* cboTime;
    QLabel* lblTotalMinutes;
    QLineEdit* txtMonitor;
    std::array<ColorSwatch*, kDisplayColorCount> txtColor{};
    QLineEdit* txtShutterDir;
    QPushButton* Command1;
    QLineEdit* txtHeader;
    QLineEdit* txtFName;
    QLineEdit* txtDatabase;
    QLineEdit* txtBench;
    QPushButton* cmdLoadLogo;
    QLabel* imgLOGO;
    QCheckBox* chkTransmit;
    QPushButton* cmdDefault;
    QPushButton* OKButton;
};

} // namespace kvx
