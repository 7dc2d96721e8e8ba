// The command line, the memory summary of the About box and where the user
// guide is looked for first.
#include "AppOptions.h"
#include "HelpGuide.h"
#include "Session.h"
#include "SystemInfo.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace kvx;

namespace {

QStringList described(const AppOptions& o) {
    return {"folder=" + o.folder,
            "link=" + o.link,
            QStringLiteral("start=%1").arg(o.start),
            "screenshot=" + o.screenshotFile,
            QStringLiteral("delay=%1").arg(o.screenshotDelayMs),
            QStringLiteral("export=%1").arg(o.exportRecord),
            "pdf=" + o.pdfFile,
            "csv=" + o.csvFile};
}

// The options that differ from a bare command line's, or "refused".
QString changedOptions(const AppOptions& o) {
    if (!o.error.isEmpty())
        return QStringLiteral("refused");
    QStringList changed = described(o);
    for (const QString& bare : described(AppOptions()))
        changed.removeOne(bare);
    return changed.join(QLatin1Char(' '));
}

} // namespace

class TestAppOptions : public QObject {
    Q_OBJECT
private slots:
    void parse_data();
    void parse();
    void memory_data();
    void memory();
    void guideInProgramFolderWins();
};

void TestAppOptions::parse_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("options");
    // clang-format off
    QTest::newRow("nothing") << QStringList{} << "";
    QTest::newRow("folder and link") << QStringList{"--folder", "/tmp/x", "--link", "serial:/dev/ttyS1@9600"}
                                     << "folder=/tmp/x link=serial:/dev/ttyS1@9600";
    QTest::newRow("equals form") << QStringList{"--link=gpib:0:7", "--start"} << "link=gpib:0:7 start=1";
    QTest::newRow("screenshot") << QStringList{"--screenshot", "/tmp/a.png", "--screenshot-delay", "0"}
                                << "screenshot=/tmp/a.png delay=0";
    QTest::newRow("export") << QStringList{"--folder", "/tmp/x", "--export-record", "12", "--csv", "r.csv"}
                            << "folder=/tmp/x export=12 csv=r.csv";
    QTest::newRow("unknown option") << QStringList{"--speed", "9600"} << "refused";
    QTest::newRow("stray argument") << QStringList{"serial:/dev/ttyS0"} << "refused";
    QTest::newRow("link without text") << QStringList{"--link"} << "refused";
    QTest::newRow("blank link") << QStringList{"--link", "  "} << "refused";
    QTest::newRow("delay not a number") << QStringList{"--screenshot-delay", "soon"} << "refused";
    QTest::newRow("export without a file") << QStringList{"--export-record", "3"} << "refused";
    QTest::newRow("export of no number") << QStringList{"--export-record", "last", "--pdf", "a"} << "refused";
    QTest::newRow("pdf without a record") << QStringList{"--pdf", "r.pdf"} << "refused";
    // clang-format on
}

void TestAppOptions::parse() {
    QFETCH(QStringList, arguments);
    arguments.prepend("kvx5130");
    const AppOptions options = parseAppOptions(arguments);
    QTEST(changedOptions(options), "options");
    if (options.error.isEmpty())
        QCOMPARE(exportAsked(arguments), options.exportRecord > 0);
}

void TestAppOptions::memory_data() {
    QTest::addColumn<QString>("meminfo");
    QTest::addColumn<QString>("summary");
    // clang-format off
    QTest::newRow("both") << "MemTotal:       16384000 kB\nMemFree:  1 kB\nMemAvailable:    8192000 kB\n"
                          << "15.6 GiB total, 7.8 GiB available";
    QTest::newRow("total only") << "MemTotal: 1048576 kB\n" << "1.0 GiB total";
    // A field name that merely ends like a wanted one must not be taken for it.
    QTest::newRow("look-alike") << "HugeMemTotal: 1048576 kB\n" << "";
    QTest::newRow("empty") << "" << "";
    // clang-format on
}

void TestAppOptions::memory() {
    QFETCH(QString, meminfo);
    QTEST(memorySummary(meminfo), "summary");
}

void TestAppOptions::guideInProgramFolderWins() {
    // Without a guide in the program folder, the installed one is found (the frame's Help test shows it).
    QTemporaryDir folder;
    session().programFolder = folder.path();
    QFile own(session().pathInFolder(kHelpFile));
    QVERIFY(own.open(QIODevice::WriteOnly));
    own.write("<html><body>own guide</body></html>");
    own.close();
    QCOMPARE(findUserGuide(), QFileInfo(own).absoluteFilePath());
}

QTEST_MAIN(TestAppOptions)
#include "tst_appoptions.moc"
