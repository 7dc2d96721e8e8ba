#pragma once
// The operation record: the settings block that the operation file keeps between
// runs, one fixed 1704-byte record. Numbers are little-endian; texts are stored
// one byte per character, padded with blanks. The bytes the program does not
// interpret are kept as read, and so are the bytes of every text the operator
// has not changed (files of older tools hold them in an 8-bit code page), so a
// file written back is identical byte for byte. New text is stored as UTF-8.
//
// Layout (offset, size, field):
//    0    2  comPort            serial port number 1-4
//    2    2  baudRate           serial baud rate
//    4    2  gpibAddress        GPIB primary address 0-31
//    6   20  samplingInterval   seconds ("1" is shown when its value is 0)
//   26   20  totalTime          "Continuous" or minutes
//   46  255  reportHeader
//  301  255  logoFile
//  556   28  colors[7]          32-bit 0x00BBGGRR
//  584  255  snapshotFolder
//  839    1  serialFlag         "1" selects the serial link
//  840    1  gpibFlag           "1" selects GPIB, anything else serial; decides when not blank
//  841   10  sFunction          function name saved at quit
//  851    1  (gap)
//  852    8  serialSettings[4]  data bits, parity, stop bits, handshake (SerialFraming.h)
//  860    6  settingText1
//  866    6  settingText2
//  872    2  setting3
//  874    2  (padding)
// This program's own additions, in bytes the layout above leaves unused. Files
// written without them read as "not set" (they hold zeros or blanks there):
//  876    4  extensionMagic     "KVX+" when the fields below are valid
//  880  255  serialDevice       device path for the serial link; blank: the port-number rule
// 1135  255  gpibBackend        GPIB back-end connection text ("gpib:0", "prologix:/dev/ttyUSB1",
//                               "prologix-tcp:host:port", "tcp:host:port"); blank: linux-gpib board 0
// 1390    1  lanFlag            "1": the GPIB path runs over the LAN text below
// 1391  215  lanAddress         "host:port" of a raw SCPI socket (the field ran to 1645 before
//                               the monitor page took its last 40 bytes, which a "host:port" never reached)
// 1606   40  monitorAddress     "[ADDR:]PORT" the monitor page is served on; blank: not served
// 1646   40  databaseText       the record store: "postgresql://user@host:5432/db" for a lab
//                               server (never with a password); blank: the SQLite file
// 1686   18  benchName          this bench's name on the lab server; blank: host name and folder

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <array>

namespace kvx {

struct OperationRecord {
    static constexpr int Size = 1704;
    static constexpr int ColorCount = 7;

    qint16 comPort = 0;
    qint16 baudRate = 0;
    qint16 gpibAddress = 0;
    QString samplingInterval; // 20
    QString totalTime;        // 20
    QString reportHeader;     // 255
    QString logoFile;         // 255
    std::array<quint32, ColorCount> colors{};
    QString snapshotFolder; // 255
    QString serialFlag;     // 1
    QString gpibFlag;       // 1
    QString sFunction;      // 10
    std::array<qint16, 4> serialSettings{};
    QString settingText1; // 6
    QString settingText2; // 6
    qint16 setting3 = 0;

    // Extension fields (see the layout above).
    QString serialDevice; // 255
    QString gpibBackend;  // 255
    QString lanFlag;      // 1
    QString lanAddress;   // 215
    QString monitorAddress; // 40
    QString databaseText; // 40
    QString benchName;    // 18

    // Bytes as last read; changed fields are written over them.
    QByteArray raw = blankRecord();

    // A record of zeros with blank texts, as a first run starts from.
    static QByteArray blankRecord();
    // The size of a text field in bytes (0 for a member that is not one).
    static int width(QString OperationRecord::*field);
    // Whether `text` can be stored in `field` as it stands: its UTF-8 bytes fit,
    // or it is the text the field was read from.
    bool fits(QString OperationRecord::*field, const QString& text) const;

    QByteArray encode() const;
    // Decodes a whole record. Returns false (leaving *this unchanged) when `bytes`
    // is not exactly one record.
    bool decode(const QByteArray& bytes);
};

// Reading and writing the operation file.
enum class LoadResult { Loaded, Missing, Damaged };

struct OperationFile {
    // Reads record 1 of `path`. A missing file leaves `record` alone (Missing);
    // a short or unreadable one, or a folder by that name, leaves it alone too and
    // gives Damaged with a sentence that says what is wrong.
    static LoadResult load(const QString& path, OperationRecord& record, QString* error = nullptr);
    // Renames a damaged file (or folder) to `path` + ".damaged-YYYYMMDD-HHMMSS", so that
    // writing the settings does not destroy it. The new path, or empty with the reason.
    static QString keepAside(const QString& path, const QDateTime& when, QString* error = nullptr);
    // Writes record 1, overwriting the first 1704 bytes of an existing file in place.
    static bool save(const QString& path, const OperationRecord& record, QString* error = nullptr);
};

} // namespace kvx
