// The command line, the memory summary of the About box and where the user
// guide is looked for.
#include "AppOptions.h"
#include "HelpGuide.h"
#include "Session.h"
#include "SystemInfo.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace kvx;

class TestAppOptions : public QObject {
    Q_OBJECT
private slots:
    void parse_data();
    void parse();
    void refused_data();
    void refused();
    void memory_data();
    void memory();
    void guideInProgramFolderWins();
    void guideFoundWithoutProgramFolder();
};

void TestAppOptions::parse_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("link");
    QTest::addColumn<bool>("start");
    QTest::addColumn<QString>("screenshot");
    QTest::addColumn<int>("delay");
    QTest::addColumn<int>("exportRecord");
    QTest::addColumn<QString>("pdf");
    QTest::addColumn<QString>("csv");

    const QStringList none;
    QTest::newRow("nothing") << none << ""
                             << "" << false << "" << 1500 << -1 << ""
                             << "";
    QTest::newRow("folder and link") << QStringList{"--folder", "/tmp/x", "--link",
                                                    "serial:/dev/ttyUSB0@9600"}
                                     << "/tmp/x"
                                     << "serial:/dev/ttyUSB0@9600" << false << "" << 1500 << -1 << ""
                                     << "";
    QTest::newRow("equals form") << QStringList{"--link=gpib:0:7", "--start"} << ""
                                 << "gpib:0:7" << true << "" << 1500 << -1 << ""
                                 << "";
    QTest::newRow("screenshot") << QStringList{"--screenshot", "/tmp/a.png", "--screenshot-delay", "0"} << ""
                                << "" << false << "/tmp/a.png" << 0 << -1 << ""
                                << "";
    QTest::newRow("export") << QStringList{"--folder", "/tmp/x", "--export-record", "12", "--csv", "r.csv"}
                            << "/tmp/x"
                            << "" << false << "" << 1500 << 12 << ""
                            << "r.csv";
}

void TestAppOptions::parse() {
    QFETCH(QStringList, arguments);
    arguments.prepend("kvx5130");
    const AppOptions options = parseAppOptions(arguments);
    QCOMPARE(options.error, QString());
    QTEST(options.folder, "folder");
    QTEST(options.link, "link");
    QTEST(options.start, "start");
    QTEST(options.screenshotFile, "screenshot");
    QTEST(options.screenshotDelayMs, "delay");
    QTEST(options.exportRecord, "exportRecord");
    QTEST(options.pdfFile, "pdf");
    QTEST(options.csvFile, "csv");
    QCOMPARE(exportAsked(arguments), options.exportRecord > 0);
}

void TestAppOptions::refused_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown option") << QStringList{"--speed", "9600"};
    QTest::newRow("stray argument") << QStringList{"serial:/dev/ttyS0"};
    QTest::newRow("link without text") << QStringList{"--link"};
    QTest::newRow("blank link") << QStringList{"--link", "  "};
    QTest::newRow("delay not a number") << QStringList{"--screenshot-delay", "soon"};
    QTest::newRow("export without a file") << QStringList{"--export-record", "3"};
    QTest::newRow("export of no number") << QStringList{"--export-record", "last", "--pdf", "r.pdf"};
    QTest::newRow("pdf without a record") << QStringList{"--pdf", "r.pdf"};
}

void TestAppOptions::refused() {
    QFETCH(QStringList, arguments);
    arguments.prepend("kvx5130");
    QVERIFY(!parseAppOptions(arguments).error.isEmpty());
}

void TestAppOptions::memory_data() {
    QTest::addColumn<QString>("meminfo");
    QTest::addColumn<QString>("summary");
    QTest::newRow("both") << "MemTotal:       16384000 kB\nMemFree:  1 kB\nMemAvailable:    8192000 kB\n"
                          << "15.6 GiB total, 7.8 GiB available";
    QTest::newRow("total only") << "MemTotal: 1048576 kB\n"
                                << "1.0 GiB total";
    // A field name that merely ends like a wanted one must not be taken for it.
    QTest::newRow("look-alike") << "HugeMemTotal: 1048576 kB\n"
                                << "";
    QTest::newRow("empty") << ""
                           << "";
}

void TestAppOptions::memory() {
    QFETCH(QString, meminfo);
    QTEST(memorySummary(meminfo), "summary");
}

void TestAppOptions::guideInProgramFolderWins() {
    QTemporaryDir folder;
    session().programFolder = folder.path();
    QFile own(session().pathInFolder(kHelpFile));
    QVERIFY(own.open(QIODevice::WriteOnly));
    own.write("<html><body>own guide</body></html>");
    own.close();
    QCOMPARE(findUserGuide(), QFileInfo(own).absoluteFilePath());
}

void TestAppOptions::guideFoundWithoutProgramFolder() {
    QTemporaryDir folder;
    session().programFolder = folder.path();
    const QString guide = findUserGuide();
    QVERIFY2(!guide.isEmpty(), qPrintable(userGuideCandidates().join(", ")));
    QFile file(guide);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("KVX-5130"));
}

QTEST_MAIN(TestAppOptions)
#include "tst_appoptions.moc"
