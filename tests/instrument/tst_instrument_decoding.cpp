// Reply decoding and command texts of the driver over a scripted GPIB link
// (which passes commands through unchanged), and the connection-text parser.

#include "LinkSchemes.h"
#include "ScriptedLink.h"

#include <QTest>
#include <algorithm>
#include <functional>
#include <iterator>

using kvx::clsKVX5310;
using kvx::test::ScriptedMeter;

namespace {

using M = clsKVX5310;

struct CommandShape {
    const char* name;
    std::function<void(M&)> act;
    QStringList commands;
};

// One member of each shape of command text that no key or limit field of the
// panel sends (the panel's wire-order table and the state panel's limits check the
// others; the decoding table checks its own queries).
const CommandShape kShapes[] = {
    {"switch", [](M& m) { m.setAuto(true); }, {":CONF:AUTO 1"}},
    {"switch off", [](M& m) { m.setMinMode(false); }, {":CALC:MIN 0"}},
    {"range default", [](M& m) { m.Ripple(); }, {":CONF:VOLT:RIP 0", ":CONF:FUNC?"}},
    {"argument ignored", [](M& m) { m.setOperationComplete(1); }, {"*OPC"}},
    {"query", [](M& m) { m.Range(); }, {":CONF:RANG?"}},
};

QString joined(const QStringList& parts) {
    return parts.join(QLatin1Char('|'));
}

// What a member shows after asking its query (it may ask more).
struct Decoder {
    const char* name;
    QByteArray query;
    std::function<QString(ScriptedMeter&)> shown;
};

std::function<QString(ScriptedMeter&)> flag(bool (M::*member)()) {
    return [member](ScriptedMeter& c) { return QVariant((c.meter.*member)()).toString(); };
}

// A register's value, the bit text it fills and its bit members, highest bit first.
std::function<QString(ScriptedMeter&)> bits(qint16 (M::*query)(), QString (M::*text)() const,
                                            std::vector<bool (M::*)() const> members) {
    return [=](ScriptedMeter& c) {
        const qint16 value = (c.meter.*query)();
        QString shown;
        for (const auto member : members)
            shown += (c.meter.*member)() ? QLatin1Char('1') : QLatin1Char('0');
        return joined({QString::number(value), (c.meter.*text)(), shown});
    };
}

const Decoder kDecoders[] = {
    {"Func", ":CONF:FUNC?",
     [](ScriptedMeter& c) {
         return joined({c.meter.Func(), c.meter.sUnitPrimary(), c.meter.sUnitSecond()});
     }},
    {"Mode", ":CONF:MOD?",
     [](ScriptedMeter& c) {
         return joined({c.meter.Mode(), c.meter.sMode()});
     }},
    // ":VALUE?" answers "9.9"; the count is of the commands sent.
    {"ValuePrimary", ":READ?",
     [](ScriptedMeter& c) {
         c.link->replies[":VALUE?"] = "9.9\n";
         c.link->written.clear();
         const QString primary = c.meter.ValuePrimary();
         const QString second = c.meter.ValueSecond();
         return joined({primary, second, c.meter.ValueSecond(), QString::number(c.link->written.size())});
     }},
    {"LimitState", ":CALC:LIMI:STAT?", flag(&M::LimitState)},
    {"MaxMode", ":CALC:MAX?", flag(&M::MaxMode)},
    {"MinMode", ":CALC:MIN?", flag(&M::MinMode)},
    {"RelState", ":CALC:REL:STAT?", flag(&M::RelState)},
    {"Hold", ":CALC:HOLD?", flag(&M::Hold)},
    {"Auto", ":CONF:AUTO?", flag(&M::Auto)},
    {"OPC", "*OPC?", flag(&M::OperationComplete)},
    // The reply shows the meter was asked.
    {"LimitFAIL", ":CALC:LIM:FAIL?",
     [](ScriptedMeter& c) {
         return joined({c.meter.LimitFAIL(), c.meter.sReply()});
     }},
    {"SDBMRef", ":CALC:SDBM:REF?", [](ScriptedMeter& c) { return QString::number(c.meter.SDBMRef()); }},
    {"COND", "STAT:QUES:COND?",
     bits(&M::QuestionCondition, &M::sQuestContent,
          {&M::QCondLimitTestFailHi, &M::QCondLimitTestFailLo, &M::QCondCapacitanceOverload,
           &M::QCondOhmOverload, &M::QCondFrequencyNullSense, &M::QCondCurrentOverload,
           &M::QCondVoltageOverload})},
    {"EVEN", "STAT:QUES:EVEN?", bits(&M::QuestionEvent, &M::sQuestContent, {})},
    {"STB", "*STB?",
     bits(&M::StautsByteReg, &M::sSBRContent,
          {&M::SBR_OPER, &M::SBR_RQS_MSS, &M::SBR_ESB, &M::SBR_MAV, &M::SBR_QUES, &M::SBR_E_E})},
    {"SRE", "*SRE?",
     bits(&M::StandardEventStatusReg, &M::sSESRContent,
          {&M::SESR_URQ, &M::SESR_CME, &M::SESR_EXE, &M::SESR_DDE, &M::SESR_QYE, &M::SESR_OPC})},
};

// A row: the member by name, the meter's reply (empty: it never answers) and what the member shows.
void row(const char* member, const char* reply, const char* shown) {
    const QByteArray visible = QByteArray(reply).replace('\n', "\\n");
    QTest::newRow(QByteArray(member) + '[' + visible + ']') << QString(member) << QByteArray(reply) << shown;
}

} // namespace

class TestDecoding : public QObject {
    Q_OBJECT

private slots:
    void commandTexts_data() {
        QTest::addColumn<int>("index");
        for (int i = 0; i < static_cast<int>(std::size(kShapes)); ++i)
            QTest::newRow(kShapes[i].name) << i;
    }

    // Each member sends exactly its command texts, and reads only after a query.
    void commandTexts() {
        QFETCH(int, index);
        const QStringList& commands = kShapes[index].commands;
        ScriptedMeter c;
        c.link->defaultReply = "0\n";
        kShapes[index].act(c.meter);
        QStringList written;
        for (const QByteArray& w : c.link->written)
            written << QString::fromLatin1(w);
        QCOMPARE(written, commands);
        QCOMPARE(c.link->reads, static_cast<int>(commands.filter(QStringLiteral("?")).size()));
        QCOMPARE(c.meter.sCommand(), commands.last());
    }

    // The meter answers only the member's own query: once with "3", so a row that
    // leaves a field alone shows what that reply put there, then with the row's
    // reply. Units start as "dBm" and "mA".
    void decoding_data() {
        QTest::addColumn<QString>("member");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("shown");
        // name|primary unit|secondary unit
        row("Func", "DCV\n", "DC Voltage|V|");
        row("Func", "ACV + Frequence\n", "ACV + Frequence|V|kHz");
        row("Func", "Hz+ACV\n", "ACV + Frequence|V|kHz");
        row("Func", "Hz+ACA\n", "ACA + Frequence|mA|kHz");
        row("Func", "ACA + Frequence\n", "ACA + Frequence|dBm|mA"); // only the "Hz+" form is known
        row("Func", "OHM\n", "Resitance|kohm|");
        row("Func", "RIPPLE\n", "Ripple||"); // no primary unit, not "V"
        row("Func", "  OHM\n", "Resitance|kohm|");
        row("Func", "DCV", "DC|dBm|mA"); // the last character is taken for the terminator
        row("Func", "", "|dBm|mA");
        // mode|bit text
        row("Mode", "0\n", "|00000000");
        row("Mode", "1\n", "MIN|00000001");
        row("Mode", "5\n", "HOLD|00000101"); // the highest bit wins
        row("Mode", "24\n", "dBm|00011000");
        row("Mode", "128\n", "|10000000"); // bit 7 means nothing
        row("Mode", "255\n", "COMP|11111111");
        row("Mode", "260\n", "HOLD|00000100");
        row("Mode", "2.5\n", "MAX|00000010"); // half to even
        row("Mode", "ERR\n", "|00000000");
        row("Mode", "40000\n", "|00000011"); // too large for 16 bits: the text stays
        // primary|secondary|secondary asked again|commands sent
        row("ValuePrimary", " 1.234 ,5.678\n", "5.678\n|1.234|1.234|1"); // the secondary is trimmed
        row("ValuePrimary", "60.00, 1.5\n", " 1.5\n|60.00|60.00|1");     // the primary is not
        row("ValuePrimary", "1,2,3\n", "2,3\n|1|1|1");
        row("ValuePrimary", "1.234\n", "9.9\n|||2");
        row("ValuePrimary", "", "9.9\n|||2");
        // The on/off queries compare the reply text with "1".
        for (const char* on : {"LimitState", "MaxMode", "MinMode", "RelState", "Hold"}) {
            for (const char* reply : {"1\n", "1"})
                row(on, reply, "true");
            for (const char* reply : {"0\n", "1.0\n", " 1\n", ""})
                row(on, reply, "false");
        }
        // Auto compares the number, not the text.
        for (const char* reply : {"1\n", "1.0\n", " 1\n", "1e0\n"})
            row("Auto", reply, "true");
        for (const char* reply : {"0\n", "2\n", ""})
            row("Auto", reply, "false");
        // OperationComplete is False only for "0".
        for (const char* reply : {"0\n", "1\n", "0.0\n", ""})
            row("OPC", reply, reply == QByteArray("0\n") ? "false" : "true");
        // LimitFAIL always answers "pass"; SDBMRef gives 0 past 16 bits.
        for (const char* reply : {"0\n", "2\n", ""})
            row("LimitFAIL", reply, QByteArray("pass|" + QByteArray(reply)).constData());
        row("SDBMRef", "600\n", "600");
        row("SDBMRef", "50.5\n", "50"); // half to even
        row("SDBMRef", "32767.5\n", "0");
        row("SDBMRef", "", "0");
        // value|bit text|bit members: COND bits 12 11 10 9 5 1 0, STB 7-2, SRE 6-2 and 0.
        // The patterns 170, 204 and 240 (and four more for COND) give every bit its own code.
        row("STB", "170\n", "170|10101010|101010");
        row("STB", "204\n", "204|11001100|110011");
        row("STB", "240\n", "240|11110000|111100");
        row("STB", "511\n", "511|11111111|111111"); // eight bits kept
        row("STB", "-3\n", "-3|00000001|000000");
        row("STB", "", "0|00000000|000000");
        row("COND", "21845\n", "21845|0101010101010101|1010001");
        row("COND", "13107\n", "13107|0011001100110011|1001111");
        row("COND", "3855\n", "3855|0000111100001111|0111011");
        row("COND", "255\n", "255|0000000011111111|0000111");
        row("COND", "32768\n", "0|0000000000000011|0000011"); // above 32767: 0, the text stays
        row("EVEN", "1\n", "1|0000000000000001|");            // into the condition's text
        row("SRE", "170\n", "170|10101010|010100");
        row("SRE", "204\n", "204|11001100|100110");
        row("SRE", "240\n", "240|11110000|111000");
    }
    void decoding() {
        QFETCH(QString, member);
        QFETCH(QByteArray, reply);
        const auto decoder = std::find_if(std::begin(kDecoders), std::end(kDecoders),
                                          [&](const Decoder& d) { return member == QLatin1String(d.name); });
        QVERIFY(decoder != std::end(kDecoders));
        ScriptedMeter c;
        c.meter.setUnitPrimary(QStringLiteral("dBm"));
        c.meter.setUnitSecond(QStringLiteral("Current"));
        c.link->replies[decoder->query] = "3\n";
        decoder->shown(c);
        c.link->replies.remove(decoder->query);
        if (!reply.isEmpty())
            c.link->replies[decoder->query] = reply;
        QTEST(decoder->shown(c), "shown");
    }

    // "*ESE" reads nothing and decodes whatever the previous query left.
    void eventStatusLetDecodesPreviousReply() {
        ScriptedMeter c;
        c.link->replies["*OPC?"] = "20\n";
        c.meter.OperationComplete();
        c.meter.setStandardEventStatusReg();
        QCOMPARE(c.link->written.last(), QByteArray("*ESE"));
        QCOMPARE(c.link->reads, 1);
        QCOMPARE(c.meter.sSBRContent(), QStringLiteral("00010100"));
    }

    // SDBMState and SystemError only name their command; a fresh driver's bit
    // members read their empty texts as clear.
    void membersThatNeverAsk() {
        clsKVX5310 meter;
        QVERIFY(!meter.SBR_MAV() && !meter.QCondVoltageOverload() && !meter.SESR_OPC());
        QVERIFY(!meter.SDBMState());
        QCOMPARE(meter.sCommand(), QStringLiteral(":CALC:SDBM:STAT?"));
        QVERIFY(meter.SystemError());
        QCOMPARE(meter.sCommand(), QStringLiteral("SYST:ERR?"));
        QVERIFY(meter.ExecLog().isEmpty());
    }

    // The assignment sends its value, then zeros, and stops by itself; the
    // driver stays usable and a second assignment behaves the same.
    void relDataEndsQuietly() {
        ScriptedMeter c;
        c.meter.setRelData(2.5);
        const QList<QByteArray> first = c.link->written;
        QVERIFY(first.size() > 1);
        QCOMPARE(first.first(), QByteArray(":CALC:REL:DAT 2.5"));
        QCOMPARE(first.count(QByteArray(":CALC:REL:DAT 0")), first.size() - 1);
        c.link->written.clear();
        c.meter.setRelData(1);
        QCOMPARE(c.link->written.size(), first.size());
        QVERIFY(!c.meter.bExecuting());
    }

    // Every row of the registry: the text written back in one form and the text
    // the link it makes gives back, or the refusal's message.
    void connectionText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("canonical");
        QTest::addColumn<QString>("link");
        const auto row = [](const char* text, const char* canonical, const char* link) {
            QTest::newRow(text) << text << canonical << link;
        };
        row("serial:/tmp/a@b@115200", "serial:/tmp/a@b@115200", "serial:/tmp/a@b@115200"); // the last @
        row(" SERIAL:/dev/pts/3 ", "serial:/dev/pts/3", "serial:/dev/pts/3@9600");         // the rate stays
        row("serial:/dev/ttyS0@fast", "the baud rate after '@' must be a positive whole number", "");
        row("serial:@9600", "a serial connection needs a device, e.g. serial:/dev/ttyUSB0@9600", "");
        row("gpib: 1 :30", "gpib:1:30", "gpib:1:30");
        row("gpib:0:31", "GPIB address 31 is outside 0 to 30", "");
        row("gpib:16:1", "a GPIB connection reads gpib:<board>:<address>", "");
        row("prologix:/dev/ttyUSB0:7", "prologix:/dev/ttyUSB0:7", "prologix:/dev/ttyUSB0:7");
        row("prologix::7", "a \"++\" controller connection reads prologix:<device>:<address>", "");
        row("prologix-tcp:10.0.0.5:1234:7", "prologix-tcp:10.0.0.5:1234:7", "prologix-tcp:10.0.0.5:1234:7");
        row("prologix-tcp:10.0.0.5:7",
            "a \"++\" controller connection reads "
            "prologix-tcp:<host>:<port>:<address>",
            "");
        row("tcp:meter.lab", "tcp:meter.lab:5025", "tcp:meter.lab:5025");
        row("tcp:meter.lab:0", "a LAN connection reads tcp:<host>[:<port>]", "");
        row("usb:1", "unknown connection kind \"usb\" (serial, gpib, prologix, prologix-tcp, tcp)", "");
    }
    void connectionText() {
        QFETCH(QString, text);
        QFETCH(QString, canonical);
        kvx::ConnectionTarget t;
        QString error;
        if (!kvx::parseConnectionText(text, &t, &error)) {
            QCOMPARE(error, canonical);
            return;
        }
        QCOMPARE(kvx::connectionText(t), canonical);
        QTEST(kvx::makeLink(t)->connectionText(), "link");
        kvx::ConnectionTarget again;
        QVERIFY(kvx::parseConnectionText(canonical, &again, nullptr));
        QCOMPARE(kvx::connectionText(again), canonical);
        // The GPIB control's back-end text and address read as the same target.
        if (t.method == QLatin1String("GPIB")) {
            QVERIFY(kvx::readGpibSettings(t.gpibBackend(), t.gpibAddress, &again, &error));
            QCOMPARE(kvx::connectionText(again), canonical);
        }
    }

    // The record's four serial settings; a number outside its list keeps the factory value.
    void serialFraming_data() {
        QTest::addColumn<QList<int>>("settings"); // data bits, parity, stop bits, handshake
        QTest::addColumn<QString>("framing");
        QTest::newRow("never set") << QList<int>{0, 0, 0, 0} << "8N1";
        QTest::newRow("7E2 RTS/CTS") << QList<int>{7, 2, 2, 1} << "7E2 RTS/CTS";
        QTest::newRow("5O1 XON/XOFF") << QList<int>{5, 1, 1, 2} << "5O1 XON/XOFF";
        QTest::newRow("mark, space") << QList<int>{6, 3, 1, 0} << "6M1";
        QTest::newRow("out of range") << QList<int>{9, 5, 3, -1} << "8N1";
        QTest::newRow("4 bits, space") << QList<int>{4, 4, 0, 3} << "8S1";
    }
    void serialFraming() {
        QFETCH(QList<int>, settings);
        const auto framing = kvx::SerialFraming::fromSettings(
            {qint16(settings[0]), qint16(settings[1]), qint16(settings[2]), qint16(settings[3])});
        QTEST(framing.text(), "framing");
    }
};

QTEST_GUILESS_MAIN(TestDecoding)
#include "tst_instrument_decoding.moc"
