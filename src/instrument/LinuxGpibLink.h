#pragma once
// GPIB through linux-gpib's NI-488.2-compatible C library. The library is loaded
// when a link opens, so the program builds and runs without it; only choosing
// this back-end needs it. $KVX5130_GPIB_LIBRARY names another library file.
//
// open:  ibdev(board, address, no secondary address, timeout, EOI on the last
//        byte written, no EOS byte): a message ends with EOI, nothing appended.
// read:  ibrd until END (or the meter's line feed).
// close: ibloc, then ibonl(ud, 0): the meter gets its front panel back before
//        the device goes offline.

#include "Link.h"
#include "SerialFraming.h"

#include <memory>

namespace kvx {

class GpibLibrary;

class LinuxGpibLink final : public Link {
public:
    LinuxGpibLink(int board, int address);
    ~LinuxGpibLink() override;

    // Reads the board number before the address of a "gpib:" text.
    static bool readPlace(const QString& text, ConnectionTarget* target, QString* error);
    static std::unique_ptr<Link> make(const ConnectionTarget& target, const SerialFraming&);
    QString connectionText() const override;

    bool open(QString* error) override;
    void close() override;
    bool isOpen() const override { return m_ud >= 0; }
    bool write(const QByteArray& data, QString* error) override;
    bool read(QByteArray* reply, QString* error) override;
    QString description() const override;
    void setTimeoutMs(int ms) override;

    // The library file the next open loads.
    static QString libraryPath();
    // The library's timeout code for a timeout in milliseconds (the next longer step).
    static int timeoutCode(int ms);
    // "ENOL: no listener ..." for an iberr value.
    static QString errorName(int iberr);

private:
    bool failCall(int number, const QString& call, QString* error);

    int m_board;
    int m_address;
    int m_ud = -1;
    std::unique_ptr<GpibLibrary> m_library;
};

} // namespace kvx
