// Reply decoding and command texts of the driver, over a scripted GPIB link
// (which passes commands through unchanged).

#include "ScriptedLink.h"
#include "clsKVX5310.h"

#include <QTest>
#include <functional>
#include <iterator>
#include <map>

using kvx::clsKVX5310;
using kvx::test::ScriptedLink;

namespace {

struct Connected {
    std::unique_ptr<clsKVX5310> meter = std::make_unique<clsKVX5310>();
    ScriptedLink* link = nullptr;
};

// A driver on a scripted GPIB link, past its first status exchange.
Connected connectedMeter() {
    Connected c;
    auto link = std::make_unique<ScriptedLink>();
    c.link = link.get();
    c.link->replies["*SRE?"] = "0\n";
    c.meter->CWGPIB1().useLink(std::move(link));
    c.meter->setConnectMethod(QStringLiteral("GPIB"));
    c.link->replies.clear();
    c.link->written.clear();
    c.link->reads = 0;
    return c;
}

using Action = std::function<void(clsKVX5310&)>;

struct MemberCase {
    const char* name;
    Action act;
    QStringList commands;
};

// Each member and the command texts it must send (none: it never reaches the meter).
const MemberCase kMemberCases[] = {
    {"Auto on", [](clsKVX5310& m) { m.setAuto(true); }, {":CONF:AUTO 1"}},
    {"Auto off", [](clsKVX5310& m) { m.setAuto(false); }, {":CONF:AUTO 0"}},
    {"Auto get", [](clsKVX5310& m) { m.Auto(); }, {":CONF:AUTO?"}},
    {"Range", [](clsKVX5310& m) { m.Range(); }, {":CONF:RANG?"}},
    {"Mode", [](clsKVX5310& m) { m.Mode(); }, {":CONF:MOD?"}},
    {"Capacitance default", [](clsKVX5310& m) { m.Capacitance(); }, {":CONF:CAP 0"}},
    {"Capacitance 5000", [](clsKVX5310& m) { m.Capacitance(5000); }, {":CONF:CAP 5000"}},
    {"Continuity", [](clsKVX5310& m) { m.Continuity(); }, {":CONF:CONT"}},
    {"CurrentDC 0.5", [](clsKVX5310& m) { m.CurrentDC(0.5); }, {":CONF:CURR:DC 0.5", ":CONF:FUNC?"}},
    {"CurrentAC default", [](clsKVX5310& m) { m.CurrentAC(); }, {":CONF:CURR:AC 0", ":CONF:FUNC?"}},
    {"CurrentACDC 400", [](clsKVX5310& m) { m.CurrentACDC(400); }, {":CONF:CURR:ACDC 400", ":CONF:FUNC?"}},
    {"Diode", [](clsKVX5310& m) { m.Diode(); }, {":CONF:DIOD "}},
    {"Resitance default", [](clsKVX5310& m) { m.Resitance(); }, {":CONF:RES 0"}},
    {"Resitance 50", [](clsKVX5310& m) { m.Resitance(50); }, {":CONF:RES 50"}},
    {"VoltageDC default", [](clsKVX5310& m) { m.VoltageDC(); }, {":CONF:VOLT:DC 0", ":CONF:FUNC?"}},
    {"VoltageDC 500", [](clsKVX5310& m) { m.VoltageDC(500); }, {":CONF:VOLT:DC 500", ":CONF:FUNC?"}},
    {"VoltageAC 0.05", [](clsKVX5310& m) { m.VoltageAC(0.05); }, {":CONF:VOLT:AC 0.05", ":CONF:FUNC?"}},
    {"VoltageACDC default", [](clsKVX5310& m) { m.VoltageACDC(); }, {":CONF:VOLT:ACDC 0", ":CONF:FUNC?"}},
    {"VoltageDCAC 5", [](clsKVX5310& m) { m.VoltageDCAC(5); }, {":CONF:VOLT:DCAC 5", ":CONF:FUNC?"}},
    {"Ripple default", [](clsKVX5310& m) { m.Ripple(); }, {":CONF:VOLT:RIP 0", ":CONF:FUNC?"}},
    {"ValueBoth", [](clsKVX5310& m) { m.ValueBoth(); }, {":READ?"}},
    {"SFR", [](clsKVX5310& m) { m.SFR(); }, {"CONF:SFR"}},
    {"LimitState get", [](clsKVX5310& m) { m.LimitState(); }, {":CALC:LIMI:STAT?"}},
    {"LimitState on", [](clsKVX5310& m) { m.setLimitState(true); }, {":CALC:LIMI:STAT 1"}},
    {"LimitLower get", [](clsKVX5310& m) { m.LimitLower(); }, {":CALC:LIM:LOW?"}},
    {"LimitLower -1.5", [](clsKVX5310& m) { m.setLimitLower(-1.5); }, {":CALC:LIM:LOW -1.5"}},
    {"LimitUPPER get", [](clsKVX5310& m) { m.LimitUPPER(); }, {":CALC:LIM:UPP?"}},
    {"LimitUPPER 20", [](clsKVX5310& m) { m.setLimitUPPER(20); }, {":CALC:LIM:UPP 20"}},
    {"LimitFAIL", [](clsKVX5310& m) { m.LimitFAIL(); }, {":CALC:LIM:FAIL?"}},
    {"MaxMode on", [](clsKVX5310& m) { m.setMaxMode(true); }, {":CALC:MAX 1"}},
    {"MaxMode get", [](clsKVX5310& m) { m.MaxMode(); }, {":CALC:MAX?"}},
    {"MinMode off", [](clsKVX5310& m) { m.setMinMode(false); }, {":CALC:MIN 0"}},
    {"MinMode get", [](clsKVX5310& m) { m.MinMode(); }, {":CALC:MIN?"}},
    {"RelState get", [](clsKVX5310& m) { m.RelState(); }, {":CALC:REL:STAT?"}},
    {"RelState off", [](clsKVX5310& m) { m.setRelState(false); }, {":CALC:REL:STAT 0"}},
    {"RelData get", [](clsKVX5310& m) { m.RelData(); }, {":CALC:REL:DAT?"}},
    {"SDBMState get", [](clsKVX5310& m) { m.SDBMState(); }, {}},
    {"SDBMState on", [](clsKVX5310& m) { m.setSDBMState(true); }, {":CALC:SDBM:STAT 1"}},
    {"SDBMRef get", [](clsKVX5310& m) { m.SDBMRef(); }, {":CALC:SDBM:REF?"}},
    {"SDBMRef 600", [](clsKVX5310& m) { m.setSDBMRef(600); }, {":CALC:SDBM:REF 600"}},
    {"Hold get", [](clsKVX5310& m) { m.Hold(); }, {":CALC:HOLD?"}},
    {"Hold on", [](clsKVX5310& m) { m.setHold(true); }, {":CALC:HOLD 1"}},
    {"AutoHold", [](clsKVX5310& m) { m.AutoHold(); }, {":CALC:HOLD 2"}},
    {"PreSet", [](clsKVX5310& m) { m.PreSet(); }, {"PRES"}},
    {"QuestionCondition", [](clsKVX5310& m) { m.QuestionCondition(); }, {"STAT:QUES:COND?"}},
    {"QuestionEvent", [](clsKVX5310& m) { m.QuestionEvent(); }, {"STAT:QUES:EVEN?"}},
    {"StautsByteReg", [](clsKVX5310& m) { m.StautsByteReg(); }, {"*STB?"}},
    {"StandardEventStatusReg let", [](clsKVX5310& m) { m.setStandardEventStatusReg(7); }, {"*ESE"}},
    {"StandardEventStatusReg get", [](clsKVX5310& m) { m.StandardEventStatusReg(); }, {"*SRE?"}},
    {"SystemError", [](clsKVX5310& m) { m.SystemError(); }, {}},
    {"OperationComplete let", [](clsKVX5310& m) { m.setOperationComplete(1); }, {"*OPC"}},
    {"OperationComplete get", [](clsKVX5310& m) { m.OperationComplete(); }, {"*OPC?"}},
    {"IDN", [](clsKVX5310& m) { m.IDN(); }, {"*IDN?"}},
};

using FlagGetter = bool (clsKVX5310::*)();

const std::map<QString, FlagGetter>& flagGetters() {
    static const std::map<QString, FlagGetter> table = {
        {"LimitState", &clsKVX5310::LimitState},
        {"MaxMode", &clsKVX5310::MaxMode},
        {"MinMode", &clsKVX5310::MinMode},
        {"RelState", &clsKVX5310::RelState},
        {"Hold", &clsKVX5310::Hold},
        {"OperationComplete", &clsKVX5310::OperationComplete},
        {"Auto", &clsKVX5310::Auto},
    };
    return table;
}

using BitGetter = bool (clsKVX5310::*)() const;

struct BitMember {
    const char* name;
    BitGetter get;
    int bit;
};

const BitMember kQuestBits[] = {
    {"QCondLimitTestFailHi", &clsKVX5310::QCondLimitTestFailHi, 12},
    {"QCondLimitTestFailLo", &clsKVX5310::QCondLimitTestFailLo, 11},
    {"QCondCapacitanceOverload", &clsKVX5310::QCondCapacitanceOverload, 10},
    {"QCondOhmOverload", &clsKVX5310::QCondOhmOverload, 9},
    {"QCondFrequencyNullSense", &clsKVX5310::QCondFrequencyNullSense, 5},
    {"QCondCurrentOverload", &clsKVX5310::QCondCurrentOverload, 1},
    {"QCondVoltageOverload", &clsKVX5310::QCondVoltageOverload, 0},
};
const BitMember kStatusByteBits[] = {
    {"SBR_OPER", &clsKVX5310::SBR_OPER, 7}, {"SBR_RQS_MSS", &clsKVX5310::SBR_RQS_MSS, 6},
    {"SBR_ESB", &clsKVX5310::SBR_ESB, 5},   {"SBR_MAV", &clsKVX5310::SBR_MAV, 4},
    {"SBR_QUES", &clsKVX5310::SBR_QUES, 3}, {"SBR_E_E", &clsKVX5310::SBR_E_E, 2},
};
const BitMember kEventBits[] = {
    {"SESR_URQ", &clsKVX5310::SESR_URQ, 6}, {"SESR_CME", &clsKVX5310::SESR_CME, 5},
    {"SESR_EXE", &clsKVX5310::SESR_EXE, 4}, {"SESR_DDE", &clsKVX5310::SESR_DDE, 3},
    {"SESR_QYE", &clsKVX5310::SESR_QYE, 2}, {"SESR_OPC", &clsKVX5310::SESR_OPC, 0},
};

enum class Register { Quest, StatusByte, Event };

qint16 queryRegister(clsKVX5310& m, Register r) {
    switch (r) {
    case Register::Quest:
        return m.QuestionCondition();
    case Register::StatusByte:
        return m.StautsByteReg();
    case Register::Event:
        return m.StandardEventStatusReg();
    }
    return 0;
}

QString bitTextOf(const clsKVX5310& m, Register r) {
    switch (r) {
    case Register::Quest:
        return m.sQuestContent();
    case Register::StatusByte:
        return m.sSBRContent();
    case Register::Event:
        return m.sSESRContent();
    }
    return {};
}

} // namespace

Q_DECLARE_METATYPE(Register)

class TestDecoding : public QObject {
    Q_OBJECT

private slots:
    void commandTexts_data();
    void commandTexts();
    void func_data();
    void func();
    void unitRule_data();
    void unitRule();
    void mode_data();
    void mode();
    void valuePrimary_data();
    void valuePrimary();
    void flags_data();
    void flags();
    void limitFailIsAlwaysPass_data();
    void limitFailIsAlwaysPass();
    void sdbmRef_data();
    void sdbmRef();
    void registers_data();
    void registers();
    void bitMembers_data();
    void bitMembers();
    void questionEventOverwritesCondition();
    void eventStatusLetDecodesPreviousReply();
    void freshDriverBits();
    void relDataEndsQuietly();
    void connectionText_data();
    void connectionText();
};

void TestDecoding::commandTexts_data() {
    QTest::addColumn<int>("index");
    for (int i = 0; i < static_cast<int>(std::size(kMemberCases)); ++i)
        QTest::newRow(kMemberCases[i].name) << i;
}

// Each member sends exactly its command texts, and reads only after a query.
void TestDecoding::commandTexts() {
    QFETCH(int, index);
    const QStringList& commands = kMemberCases[index].commands;
    Connected c = connectedMeter();
    c.link->defaultReply = "0\n";
    kMemberCases[index].act(*c.meter);
    QStringList written;
    for (const QByteArray& w : c.link->written)
        written << QString::fromLatin1(w);
    QCOMPARE(written, commands);
    QCOMPARE(c.link->reads, static_cast<int>(commands.filter(QStringLiteral("?")).size()));
    if (!commands.isEmpty())
        QCOMPARE(c.meter->sCommand(), commands.last());
}

void TestDecoding::func_data() {
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("unitPrimary");
    QTest::addColumn<QString>("unitSecond");
    // Units before the query are "dBm" and "mA": rows that keep them match nothing.
    QTest::newRow("DCV") << QByteArray("DCV\n") << "DC Voltage"
                         << "V"
                         << "";
    QTest::newRow("ACV") << QByteArray("ACV\n") << "AC Voltage"
                         << "V"
                         << "";
    QTest::newRow("AC+DCV") << QByteArray("AC+DCV\n") << "AC+DC Voltage"
                            << "V"
                            << "";
    QTest::newRow("ACV + Frequence") << QByteArray("ACV + Frequence\n") << "ACV + Frequence"
                                     << "V"
                                     << "kHz";
    QTest::newRow("Hz+ACV") << QByteArray("Hz+ACV\n") << "ACV + Frequence"
                            << "V"
                            << "kHz";
    QTest::newRow("DCA") << QByteArray("DCA\n") << "DC Current"
                         << "mA"
                         << "";
    QTest::newRow("ACA") << QByteArray("ACA\n") << "AC Current"
                         << "mA"
                         << "";
    QTest::newRow("AC+DCA") << QByteArray("AC+DCA\n") << "AC+DC Current"
                            << "mA"
                            << "";
    QTest::newRow("Hz+ACA") << QByteArray("Hz+ACA\n") << "ACA + Frequence"
                            << "mA"
                            << "kHz";
    QTest::newRow("ACA + Frequence is not known") << QByteArray("ACA + Frequence\n") << "ACA + Frequence"
                                                  << "dBm"
                                                  << "mA";
    QTest::newRow("OHM") << QByteArray("OHM\n") << "Resitance"
                         << "kohm"
                         << "";
    QTest::newRow("CAPACITANCE") << QByteArray("CAPACITANCE\n") << "Capacitance"
                                 << "nF"
                                 << "";
    QTest::newRow("DIODE") << QByteArray("DIODE\n") << "Diode"
                           << "V"
                           << "";
    QTest::newRow("CONT") << QByteArray("CONT\n") << "Continuity"
                          << "kohm"
                          << "";
    QTest::newRow("RIPPLE has no unit") << QByteArray("RIPPLE\n") << "Ripple"
                                        << ""
                                        << "";
    QTest::newRow("blanks around") << QByteArray("  OHM\n") << "Resitance"
                                   << "kohm"
                                   << "";
    QTest::newRow("no terminator loses a letter") << QByteArray("DCV") << "DC"
                                                  << "dBm"
                                                  << "mA";
    QTest::newRow("case counts") << QByteArray("dcv\n") << "dcv"
                                 << "dBm"
                                 << "mA";
    QTest::newRow("no reply") << QByteArray() << ""
                              << "dBm"
                              << "mA";
}

void TestDecoding::func() {
    QFETCH(QByteArray, reply);
    QFETCH(QString, name);
    Connected c = connectedMeter();
    if (!reply.isEmpty())
        c.link->replies[":CONF:FUNC?"] = reply;
    c.meter->setUnitPrimary(QStringLiteral("dBm"));
    c.meter->setUnitSecond(QStringLiteral("Current"));
    QCOMPARE(c.meter->Func(), name);
    QTEST(c.meter->sUnitPrimary(), "unitPrimary");
    QTEST(c.meter->sUnitSecond(), "unitSecond");
}

void TestDecoding::unitRule_data() {
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("unit");
    QTest::newRow("Voltage") << "Voltage"
                             << "V";
    QTest::newRow("Current") << "Current"
                             << "mA";
    QTest::newRow("Resitance") << "Resitance"
                               << "kohm";
    QTest::newRow("Frequence") << "Frequence"
                               << "kHz";
    QTest::newRow("Capacitance") << "Capacitance"
                                 << "nF";
    QTest::newRow("Diode") << "Diode"
                           << "V";
    QTest::newRow("Continuity") << "Continuity"
                                << "kohm";
    QTest::newRow("dBm") << "dBm"
                         << "dBm";
    QTest::newRow("correct spelling") << "Resistance"
                                      << "";
    QTest::newRow("lower case") << "voltage"
                                << "";
    QTest::newRow("empty") << ""
                           << "";
}

void TestDecoding::unitRule() {
    QFETCH(QString, word);
    QFETCH(QString, unit);
    clsKVX5310 meter;
    meter.setUnitPrimary(word);
    meter.setUnitSecond(word);
    QCOMPARE(meter.sUnitPrimary(), unit);
    QCOMPARE(meter.sUnitSecond(), unit);
}

void TestDecoding::mode_data() {
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("bits");
    // The query before each row answered 1 (MIN, "00000001").
    QTest::newRow("none") << QByteArray("0\n") << ""
                          << "00000000";
    QTest::newRow("MIN") << QByteArray("1\n") << "MIN"
                         << "00000001";
    QTest::newRow("MAX") << QByteArray("2\n") << "MAX"
                         << "00000010";
    QTest::newRow("HOLD over MIN") << QByteArray("5\n") << "HOLD"
                                   << "00000101";
    QTest::newRow("AUTOHOLD") << QByteArray("8\n") << "AUTOHOLD"
                              << "00001000";
    QTest::newRow("dBm over AUTOHOLD") << QByteArray("24\n") << "dBm"
                                       << "00011000";
    QTest::newRow("REL") << QByteArray("32\n") << "REL"
                         << "00100000";
    QTest::newRow("COMP") << QByteArray("64\n") << "COMP"
                          << "01000000";
    QTest::newRow("bit 7 ignored") << QByteArray("128\n") << ""
                                   << "10000000";
    QTest::newRow("all") << QByteArray("255\n") << "COMP"
                         << "11111111";
    QTest::newRow("above 8 bits keeps the low byte") << QByteArray("260\n") << "HOLD"
                                                     << "00000100";
    QTest::newRow("half to even") << QByteArray("2.5\n") << "MAX"
                                  << "00000010";
    QTest::newRow("not a number") << QByteArray("ERR\n") << ""
                                  << "00000000";
    QTest::newRow("too large keeps bits") << QByteArray("40000\n") << ""
                                          << "00000001";
}

void TestDecoding::mode() {
    QFETCH(QByteArray, reply);
    Connected c = connectedMeter();
    c.link->replies[":CONF:MOD?"] = "1\n";
    c.meter->Mode();
    c.link->replies[":CONF:MOD?"] = reply;
    QTEST(c.meter->Mode(), "mode");
    QTEST(c.meter->sMode(), "bits");
}

void TestDecoding::valuePrimary_data() {
    QTest::addColumn<QByteArray>("readReply");
    QTest::addColumn<QString>("primary");
    QTest::addColumn<QString>("second");
    QTest::addColumn<int>("commandsSent");
    // ":VALUE?" answers "9.9\n".
    QTest::newRow("dual, blanks around the secondary") << QByteArray(" 1.234 ,5.678\n") << "5.678\n"
                                                       << "1.234" << 1;
    QTest::newRow("dual, primary not trimmed") << QByteArray("60.00, 1.5\n") << " 1.5\n"
                                               << "60.00" << 1;
    QTest::newRow("first comma splits") << QByteArray("1,2,3\n") << "2,3\n"
                                        << "1" << 1;
    QTest::newRow("single asks :VALUE?") << QByteArray("1.234\n") << "9.9\n"
                                         << "" << 2;
    QTest::newRow("no reply asks :VALUE?") << QByteArray() << "9.9\n"
                                           << "" << 2;
}

void TestDecoding::valuePrimary() {
    QFETCH(QByteArray, readReply);
    QFETCH(QString, second);
    QFETCH(int, commandsSent);
    Connected c = connectedMeter();
    if (!readReply.isEmpty())
        c.link->replies[":READ?"] = readReply;
    c.link->replies[":VALUE?"] = "9.9\n";
    QTEST(c.meter->ValuePrimary(), "primary");
    QCOMPARE(c.link->written.size(), commandsSent);
    QCOMPARE(c.meter->ValueSecond(), second);
    QCOMPARE(c.meter->ValueSecond(), second); // reading it twice changes nothing
    QCOMPARE(c.link->written.size(), commandsSent);
}

void TestDecoding::flags_data() {
    QTest::addColumn<QString>("member");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("expected");
    for (const char* member : {"LimitState", "MaxMode", "MinMode", "RelState", "Hold"}) {
        const QString m = QString::fromLatin1(member);
        QTest::addRow("%s 1", member) << m << QByteArray("1\n") << true;
        QTest::addRow("%s 1 without terminator", member) << m << QByteArray("1") << true;
        QTest::addRow("%s 0", member) << m << QByteArray("0\n") << false;
        QTest::addRow("%s 1.0 is not 1", member) << m << QByteArray("1.0\n") << false;
        QTest::addRow("%s blank 1 is not 1", member) << m << QByteArray(" 1\n") << false;
        QTest::addRow("%s no reply", member) << m << QByteArray() << false;
    }
    // Auto compares the number, not the text.
    QTest::newRow("Auto 1") << "Auto" << QByteArray("1\n") << true;
    QTest::newRow("Auto 1.0") << "Auto" << QByteArray("1.0\n") << true;
    QTest::newRow("Auto blank 1") << "Auto" << QByteArray(" 1\n") << true;
    QTest::newRow("Auto 1e0") << "Auto" << QByteArray("1e0\n") << true;
    QTest::newRow("Auto 0") << "Auto" << QByteArray("0\n") << false;
    QTest::newRow("Auto 2") << "Auto" << QByteArray("2\n") << false;
    QTest::newRow("Auto no reply") << "Auto" << QByteArray() << false;
    // OperationComplete is False only for "0".
    QTest::newRow("OPC 0") << "OperationComplete" << QByteArray("0\n") << false;
    QTest::newRow("OPC 1") << "OperationComplete" << QByteArray("1\n") << true;
    QTest::newRow("OPC 0.0") << "OperationComplete" << QByteArray("0.0\n") << true;
    QTest::newRow("OPC no reply") << "OperationComplete" << QByteArray() << true;
}

void TestDecoding::flags() {
    QFETCH(QString, member);
    QFETCH(QByteArray, reply);
    Connected c = connectedMeter();
    if (!reply.isEmpty())
        c.link->defaultReply = reply;
    const FlagGetter get = flagGetters().at(member);
    QTEST(((*c.meter).*get)(), "expected");
}

void TestDecoding::limitFailIsAlwaysPass_data() {
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("low") << QByteArray("0\n");
    QTest::newRow("pass") << QByteArray("1\n");
    QTest::newRow("high") << QByteArray("2\n");
    QTest::newRow("no reply") << QByteArray();
}

void TestDecoding::limitFailIsAlwaysPass() {
    QFETCH(QByteArray, reply);
    Connected c = connectedMeter();
    c.link->defaultReply = reply;
    QCOMPARE(c.meter->LimitFAIL(), QStringLiteral("pass"));
    QCOMPARE(c.meter->sReply(), QString::fromLatin1(reply)); // the meter was still asked
}

void TestDecoding::sdbmRef_data() {
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("ohms");
    QTest::newRow("600") << QByteArray("600\n") << 600;
    QTest::newRow("half down to even") << QByteArray("50.5\n") << 50;
    QTest::newRow("half up to even") << QByteArray("51.5\n") << 52;
    QTest::newRow("largest") << QByteArray("32767\n") << 32767;
    QTest::newRow("too large") << QByteArray("32767.5\n") << 0;
    QTest::newRow("no reply") << QByteArray() << 0;
}

void TestDecoding::sdbmRef() {
    QFETCH(QByteArray, reply);
    Connected c = connectedMeter();
    c.link->defaultReply = reply;
    QTEST(static_cast<int>(c.meter->SDBMRef()), "ohms");
}

void TestDecoding::registers_data() {
    QTest::addColumn<Register>("reg");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("bits");
    // Each register was queried once before with the reply 3.
    QTest::newRow("STB 16") << Register::StatusByte << QByteArray("16\n") << 16 << "00010000";
    QTest::newRow("STB 0") << Register::StatusByte << QByteArray("0\n") << 0 << "00000000";
    QTest::newRow("STB 511 keeps 8 bits") << Register::StatusByte << QByteArray("511\n") << 511 << "11111111";
    QTest::newRow("STB negative keeps the low bit")
        << Register::StatusByte << QByteArray("-3\n") << -3 << "00000001";
    QTest::newRow("STB above 32767") << Register::StatusByte << QByteArray("40000\n") << 0 << "00000011";
    QTest::newRow("STB no reply") << Register::StatusByte << QByteArray() << 0 << "00000000";
    QTest::newRow("COND 4096") << Register::Quest << QByteArray("4096\n") << 4096 << "0001000000000000";
    QTest::newRow("COND 32767") << Register::Quest << QByteArray("32767\n") << 32767 << "0111111111111111";
    QTest::newRow("COND 2.5 to even") << Register::Quest << QByteArray("2.5\n") << 2 << "0000000000000010";
    QTest::newRow("COND 32768") << Register::Quest << QByteArray("32768\n") << 0 << "0000000000000011";
    QTest::newRow("SRE 33") << Register::Event << QByteArray("33\n") << 33 << "00100001";
    QTest::newRow("SRE garbage") << Register::Event << QByteArray("#?\n") << 0 << "00000000";
}

void TestDecoding::registers() {
    QFETCH(Register, reg);
    QFETCH(QByteArray, reply);
    Connected c = connectedMeter();
    c.link->defaultReply = "3\n";
    queryRegister(*c.meter, reg);
    c.link->defaultReply = reply;
    QTEST(static_cast<int>(queryRegister(*c.meter, reg)), "value");
    QTEST(bitTextOf(*c.meter, reg), "bits");
}

void TestDecoding::bitMembers_data() {
    QTest::addColumn<Register>("reg");
    QTest::addColumn<int>("bit");
    QTest::addColumn<QString>("member");
    for (const BitMember& b : kQuestBits)
        QTest::newRow(b.name) << Register::Quest << b.bit << b.name;
    for (const BitMember& b : kStatusByteBits)
        QTest::newRow(b.name) << Register::StatusByte << b.bit << b.name;
    for (const BitMember& b : kEventBits)
        QTest::newRow(b.name) << Register::Event << b.bit << b.name;
}

// A register with only this member's bit set: that member alone answers True.
void TestDecoding::bitMembers() {
    QFETCH(Register, reg);
    QFETCH(int, bit);
    QFETCH(QString, member);
    Connected c = connectedMeter();
    c.link->defaultReply = QByteArray::number(1 << bit) + '\n';
    queryRegister(*c.meter, reg);
    const auto check = [&](const auto& members) {
        for (const BitMember& b : members)
            QCOMPARE(((*c.meter).*b.get)(), member == QLatin1String(b.name));
    };
    check(kQuestBits);
    check(kStatusByteBits);
    check(kEventBits);
    QVERIFY(c.meter->SESR_PON());
}

void TestDecoding::questionEventOverwritesCondition() {
    Connected c = connectedMeter();
    c.link->replies["STAT:QUES:COND?"] = "1\n";
    c.link->replies["STAT:QUES:EVEN?"] = "0\n";
    c.meter->QuestionCondition();
    QVERIFY(c.meter->QCondVoltageOverload());
    c.meter->QuestionEvent();
    QVERIFY(!c.meter->QCondVoltageOverload());
}

// "*ESE" reads nothing and decodes whatever the previous query left.
void TestDecoding::eventStatusLetDecodesPreviousReply() {
    Connected c = connectedMeter();
    c.link->replies["*OPC?"] = "20\n";
    c.meter->OperationComplete();
    c.meter->setStandardEventStatusReg();
    QCOMPARE(c.link->written.last(), QByteArray("*ESE"));
    QCOMPARE(c.link->reads, 1);
    QCOMPARE(c.meter->sSBRContent(), QStringLiteral("00010100"));
    QVERIFY(c.meter->SBR_MAV());
    QVERIFY(c.meter->SBR_E_E());
}

void TestDecoding::freshDriverBits() {
    clsKVX5310 meter;
    QVERIFY(meter.SESR_PON());
    QVERIFY(!meter.SBR_MAV());
    QVERIFY(!meter.QCondVoltageOverload());
    QVERIFY(!meter.SESR_OPC());
    QVERIFY(!meter.SDBMState());
    QCOMPARE(meter.sCommand(), QStringLiteral(":CALC:SDBM:STAT?"));
    QVERIFY(meter.SystemError());
    QCOMPARE(meter.sCommand(), QStringLiteral("SYST:ERR?"));
    QVERIFY(meter.ExecLog().isEmpty());
}

// The assignment sends its value, then zeros, and stops by itself; the driver
// stays usable and a second assignment behaves the same.
void TestDecoding::relDataEndsQuietly() {
    Connected c = connectedMeter();
    c.meter->setRelData(2.5);
    const QList<QByteArray> first = c.link->written;
    QVERIFY(first.size() > 1);
    QCOMPARE(first.first(), QByteArray(":CALC:REL:DAT 2.5"));
    for (int i = 1; i < first.size(); ++i)
        QCOMPARE(first[i], QByteArray(":CALC:REL:DAT 0"));
    c.link->written.clear();
    c.meter->setRelData(1);
    QCOMPARE(c.link->written.size(), first.size());
    QVERIFY(!c.meter->bExecuting());
}

void TestDecoding::connectionText_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("target"); // method|device|baud|backend|address, or "refused"
    QTest::newRow("serial with rate") << "serial:/dev/ttyUSB0@9600"
                                      << "RS232|/dev/ttyUSB0|9600||-1";
    QTest::newRow("serial fast") << "serial:/dev/ttyUSB0@115200"
                                 << "RS232|/dev/ttyUSB0|115200||-1";
    QTest::newRow("serial keeps rate") << "serial:/dev/pts/3"
                                       << "RS232|/dev/pts/3|0||-1";
    QTest::newRow("serial last @") << "serial:/tmp/a@b@19200"
                                   << "RS232|/tmp/a@b|19200||-1";
    QTest::newRow("scheme any case") << " SERIAL:/dev/ttyS1 "
                                     << "RS232|/dev/ttyS1|0||-1";
    QTest::newRow("serial no device") << "serial:@9600"
                                      << "refused";
    QTest::newRow("serial bad rate") << "serial:/dev/ttyS0@fast"
                                     << "refused";
    QTest::newRow("linux-gpib") << "gpib:0:7"
                                << "GPIB||0|gpib:0|7";
    QTest::newRow("linux-gpib board 1") << "gpib:1:30"
                                        << "GPIB||0|gpib:1|30";
    QTest::newRow("gpib address 31") << "gpib:0:31"
                                     << "refused";
    QTest::newRow("gpib no address") << "gpib:0"
                                     << "refused";
    QTest::newRow("prologix serial") << "prologix:/dev/ttyUSB0:7"
                                     << "GPIB||0|prologix:/dev/ttyUSB0|7";
    QTest::newRow("prologix tcp") << "prologix-tcp:10.0.0.5:1234:7"
                                  << "GPIB||0|prologix-tcp:10.0.0.5:1234|7";
    QTest::newRow("prologix tcp no port") << "prologix-tcp:10.0.0.5:7"
                                          << "refused";
    QTest::newRow("prologix no address") << "prologix:/dev/ttyUSB0"
                                         << "refused";
    QTest::newRow("tcp with port") << "tcp:10.0.0.6:5025"
                                   << "GPIB||0|tcp:10.0.0.6:5025|-1";
    QTest::newRow("tcp default port") << "tcp:meter.lab"
                                      << "GPIB||0|tcp:meter.lab:5025|-1";
    QTest::newRow("tcp port 0") << "tcp:meter.lab:0"
                                << "refused";
    QTest::newRow("unknown kind") << "usb:1"
                                  << "refused";
    QTest::newRow("no kind") << "/dev/ttyUSB0"
                             << "refused";
    QTest::newRow("empty") << ""
                           << "refused";
}

void TestDecoding::connectionText() {
    QFETCH(QString, text);
    kvx::ConnectionTarget t;
    QString error;
    const bool ok = kvx::parseConnectionText(text, &t, &error);
    QCOMPARE(error.isEmpty(), ok);
    const QString target = !ok ? QStringLiteral("refused")
                               : QStringLiteral("%1|%2|%3|%4|%5")
                                     .arg(t.method, t.devicePath)
                                     .arg(t.baudRate)
                                     .arg(t.gpibBackend)
                                     .arg(t.gpibAddress);
    QTEST(target, "target");
}

QTEST_GUILESS_MAIN(TestDecoding)
#include "tst_instrument_decoding.moc"
