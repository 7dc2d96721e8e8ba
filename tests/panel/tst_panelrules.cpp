// The panel's widget-free rules, by table, and the captions the panel shows for them.

#include "PanelRules.h"
#include "frmKVX5130.h"

#include <QGroupBox>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QtTest>

using kvx::panel::RangeGroup;

class PanelRulesTest : public QObject {
    Q_OBJECT

private slots:
    void formatBands_data();
    void formatBands();
    void rangeOptionsOnPanel_data();
    void rangeOptionsOnPanel();
    void outOfTableOptionMeansAuto();
    void restoreKey_data();
    void restoreKey();
    void functionKeyCaptions();
    void panelLooksRight();
};

void PanelRulesTest::formatBands_data() {
    QTest::addColumn<QString>("unit");
    QTest::addColumn<double>("magnitude");
    QTest::addColumn<QString>("format");
    QTest::newRow("V 0") << "V" << 0.0 << ".###0 \"V\"";
    QTest::newRow("V 5 stays fine") << "V" << 5.0 << ".###0 \"V\"";
    QTest::newRow("V 5.001") << "V" << 5.001 << ".##0 \"V\"";
    QTest::newRow("V exactly 50") << "V" << 50.0 << ".##0 \"V\"";
    QTest::newRow("V 50.5") << "V" << 50.5 << ".#0 \"V\"";
    QTest::newRow("V 500") << "V" << 500.0 << ".#0 \"V\"";
    QTest::newRow("V 500.1") << "V" << 500.1 << ".0 \"V\"";
    QTest::newRow("V 1200") << "V" << 1200.0 << ".0 \"V\"";
    QTest::newRow("no unit reads as volts") << "" << 12.0 << ".##0 \"V\"";
    QTest::newRow("mA 2000") << "mA" << 2000.0 << ".0 \"mA\"";
    QTest::newRow("mA 20000") << "mA" << 20000.0 << ".0 \"mA\"";
    QTest::newRow("mA 0.4") << "mA" << 0.4 << ".###0 \"mA\"";
    QTest::newRow("kohm shown as kΩ") << "kohm" << 60.0 << ".#0 \"kΩ\"";
    QTest::newRow("kohm 5000") << "kohm" << 5000.0 << ".0 \"kΩ\"";
    QTest::newRow("kHz 6") << "kHz" << 6.0 << ".##0 \"kHz\"";
    QTest::newRow("nF 50000") << "nF" << 50000.0 << ".0 \"nF\"";
    QTest::newRow("nF 501") << "nF" << 501.0 << ".0 \"nF\"";
}

void PanelRulesTest::formatBands() {
    QFETCH(QString, unit);
    QFETCH(double, magnitude);
    QFETCH(QString, format);
    QCOMPARE(kvx::panel::primaryFormatText(unit, magnitude), format);
}

void PanelRulesTest::rangeOptionsOnPanel_data() {
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<int>("group");
    QTest::addColumn<int>("index");
    QTest::addColumn<double>("value");
    const struct {
        const char* prefix;
        RangeGroup group;
        QStringList captions;
        QList<double> values;
    } groups[] = {
        {"OptVolSetting",
         RangeGroup::Voltage,
         {"0.5V", "5 V", "50V", "500V", "1200V", "Auto"},
         {0.5, 5, 50, 500, 1200, 0}},
        {"OptCurSetting",
         RangeGroup::Current,
         {"0.5mA", "5mA", "50mA", "500mA", "2000mA", "20000mA", "Auto"},
         {0.5, 5, 50, 500, 2000, 20000, 0}},
        {"optkOhm",
         RangeGroup::Resistance,
         {"Auto", "0.5kOhm", "5kOhm", "50kOhm", "500kOhm", "5000kOhm", "20000kOhm"},
         {0, 0.5, 5, 50, 500, 5000, 20000}},
        {"optCapacity",
         RangeGroup::Capacitance,
         {"Auto", "5 nF", "50 nF", "500 nF", "5000nF", "50000 nF"},
         {0, 5, 50, 500, 5000, 50000}},
    };
    for (const auto& g : groups) {
        for (int i = 0; i < g.captions.size(); ++i) {
            const QString name = QStringLiteral("%1_%2").arg(QLatin1String(g.prefix)).arg(i);
            QTest::newRow(qPrintable(name)) << name << g.captions[i] << int(g.group) << i << g.values[i];
        }
    }
}

void PanelRulesTest::rangeOptionsOnPanel() {
    QFETCH(QString, option);
    QFETCH(QString, caption);
    QFETCH(int, group);
    QFETCH(int, index);
    QFETCH(double, value);
    kvx::frmKVX5130 panel;
    auto* button = panel.findChild<QRadioButton*>(option);
    QVERIFY(button);
    QCOMPARE(button->text(), caption);
    QCOMPARE(kvx::panel::rangeValue(RangeGroup(group), index), value);
    // Ranges start automatic: each group shows its "Auto" option chosen.
    QCOMPARE(button->isChecked(), caption == QLatin1String("Auto"));
}

void PanelRulesTest::outOfTableOptionMeansAuto() {
    QCOMPARE(kvx::panel::rangeValue(RangeGroup::Voltage, 6), 0.0);
    QCOMPARE(kvx::panel::rangeValue(RangeGroup::Capacitance, -1), 0.0);
}

void PanelRulesTest::restoreKey_data() {
    QTest::addColumn<QString>("saved");
    QTest::addColumn<QString>("key");
    QTest::newRow("short DCV") << "DCV"
                               << "cmdDCV";
    QTest::newRow("long AC Voltage") << "AC Voltage"
                                     << "cmdACV";
    QTest::newRow("AC+DCV") << "AC+DCV"
                            << "cmdACDC_Vol";
    QTest::newRow("Hz+ACV") << "Hz+ACV"
                            << "cmdACVFeq";
    QTest::newRow("ACV + Frequence") << "ACV + Frequence"
                                     << "cmdACVFeq";
    QTest::newRow("lower case falls back") << "hz+acv"
                                           << "cmdDCV";
    QTest::newRow("AC+DC Current") << "AC+DC Current"
                                   << "cmdACDC_Cur";
    QTest::newRow("ACA + Frequence") << "ACA + Frequence"
                                     << "cmdACA_Frq";
    QTest::newRow("Resitance as spelt") << "Resitance"
                                        << "cmdOhm";
    QTest::newRow("Resistance spelt right is unknown") << "Resistance"
                                                       << "cmdDCV";
    QTest::newRow("CAPACITANCE") << "CAPACITANCE"
                                 << "cmdCapacitance";
    QTest::newRow("Diode") << "Diode"
                           << "cmdDIODE";
    QTest::newRow("blank-padded CONT") << "CONT      "
                                       << "cmdContinue";
    QTest::newRow("RIPPLE") << "RIPPLE"
                            << "cmdRipple";
    QTest::newRow("Ripple") << "Ripple"
                            << "cmdRipple";
    QTest::newRow("empty") << ""
                           << "cmdDCV";
}

void PanelRulesTest::restoreKey() {
    QFETCH(QString, saved);
    QFETCH(QString, key);
    QCOMPARE(kvx::panel::restoreKeyFor(saved), key);
}

void PanelRulesTest::functionKeyCaptions() {
    kvx::frmKVX5130 panel;
    const QList<QPair<QString, QString>> keys{
        {"cmdDCV", "DCV"},         {"cmdACV", "ACV"},        {"cmdACDC_Vol", "ACDCV"},
        {"cmdACVFeq", "ACV Feq"},  {"cmdRipple", "Ripple"},  {"cmdDIODE", "Diode"},
        {"cmdDCA", "DCA"},         {"cmdACA", "ACA"},        {"cmdACDC_Cur", "ACDCA"},
        {"cmdACA_Frq", "ACA Feq"}, {"cmdOhm", "Ω"},          {"cmdContinue", "Continue"},
        {"cmdHold", "Hold"},       {"cmdMaxMin", "Max/Min"}, {"cmdREL", "Rel"},
        {"cmdComp", "Comp"},       {"cmdDBM", "dbm"},        {"cmdStart", "Start"},
    };
    for (const auto& [name, caption] : keys) {
        auto* key = panel.findChild<QPushButton*>(name);
        QVERIFY2(key, qPrintable(name));
        QCOMPARE(key->text(), caption);
    }
    for (const char* frame : {"Frame1", "Frame2", "Frame3", "Frame4", "Frame5"})
        QVERIFY2(panel.findChild<QGroupBox*>(QLatin1String(frame)), frame);
    QCOMPARE(panel.findChild<QGroupBox*>("Frame1")->title(), QStringLiteral("Trace Record"));
}

void PanelRulesTest::panelLooksRight() {
    // The panel lives in a child window of 4100 x 3420 twips, frame and caption included.
    // Everything must fit inside that, every caption whole, on every range frame.
    QMdiArea area;
    area.resize(800, 600);
    auto* panel = new kvx::frmKVX5130;
    QMdiSubWindow* window = area.addSubWindow(panel);
    window->resize(273, 228);
    area.show();
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(&area));
    // KVX_PANEL_PNG=/tmp/panel keeps a picture of each range frame for a look.
    const QString png = qEnvironmentVariable("KVX_PANEL_PNG");
    QVERIFY(panel->minimumSizeHint().width() <= panel->width());
    QVERIFY(panel->minimumSizeHint().height() <= panel->height());
    for (auto* key : panel->findChildren<QPushButton*>()) {
        if (!key->isVisibleTo(panel))
            continue;
        const int needed = key->fontMetrics().horizontalAdvance(key->text()) + 4;
        QVERIFY2(key->width() >= needed, qPrintable(key->objectName()));
    }
    auto* frames = panel->findChild<QStackedWidget*>("rangeFrames");
    for (int page = 0; page < frames->count(); ++page) {
        frames->setCurrentIndex(page);
        for (auto* option : frames->widget(page)->findChildren<QRadioButton*>()) {
            QVERIFY2(option->width() >= option->sizeHint().width(), qPrintable(option->objectName()));
            QVERIFY2(option->height() >= option->minimumSizeHint().height(),
                     qPrintable(option->objectName()));
        }
        if (!png.isEmpty())
            window->grab().save(QStringLiteral("%1-%2.png").arg(png).arg(page));
    }
}

QTEST_MAIN(PanelRulesTest)
#include "tst_panelrules.moc"
