#include "LinuxGpibLink.h"

#include <QByteArray>
#include <QFile>
#include <array>
#include <dlfcn.h>

namespace kvx {

namespace {

constexpr int kStatusError = 0x8000;
constexpr int kStatusTimeout = 0x4000;
constexpr int kStatusEnd = 0x2000;
constexpr int kErrorDriver = 0;  // EDVR
constexpr int kErrorAborted = 6; // EABO
constexpr long kReadChunk = 1024;
constexpr int kLongestReply = 1 << 20;
constexpr int kLastBoard = 15; // the library's board indexes

const char* const kDefaultLibrary = "libgpib.so.0";

} // namespace

// The library's entry points, resolved once per load.
class GpibLibrary {
public:
    using DevFn = int (*)(int, int, int, int, int, int);
    using IoFn = int (*)(int, void*, long);
    using WriteFn = int (*)(int, const void*, long);
    using UdIntFn = int (*)(int, int);
    using UdFn = int (*)(int);
    using IntFn = int (*)();
    using LongFn = long (*)();

    ~GpibLibrary() {
        if (m_handle)
            dlclose(m_handle);
    }

    bool load(const QString& path, QString* error) {
        m_handle = dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL);
        if (!m_handle) {
            *error = QStringLiteral("linux-gpib is not installed (%1)").arg(path);
            return false;
        }
        const bool complete = resolve("ibdev", ibdev) && resolve("ibwrt", ibwrt) && resolve("ibrd", ibrd) &&
                              resolve("ibtmo", ibtmo) && resolve("ibloc", ibloc) && resolve("ibonl", ibonl) &&
                              resolve("ibclr", ibclr);
        threadIberr = symbol<IntFn>("ThreadIberr");
        threadIbcntl = symbol<LongFn>("ThreadIbcntl");
        iberrGlobal = symbol<int*>("iberr");
        ibcntlGlobal = symbol<long*>("ibcntl");
        if (!complete || !(threadIberr || iberrGlobal) || !(threadIbcntl || ibcntlGlobal)) {
            *error = QStringLiteral("%1 is not a usable linux-gpib library (%2)").arg(path, m_missing);
            return false;
        }
        return true;
    }

    int lastError() const { return threadIberr ? threadIberr() : *iberrGlobal; }
    long lastCount() const { return threadIbcntl ? threadIbcntl() : *ibcntlGlobal; }

    DevFn ibdev = nullptr;
    WriteFn ibwrt = nullptr;
    IoFn ibrd = nullptr;
    UdIntFn ibtmo = nullptr;
    UdFn ibloc = nullptr;
    UdIntFn ibonl = nullptr;
    UdFn ibclr = nullptr;

private:
    template <typename T> T symbol(const char* name) { return reinterpret_cast<T>(dlsym(m_handle, name)); }
    template <typename T> bool resolve(const char* name, T& fn) {
        fn = symbol<T>(name);
        if (!fn)
            m_missing = QStringLiteral("no %1").arg(QLatin1String(name));
        return fn != nullptr;
    }

    void* m_handle = nullptr;
    QString m_missing;
    IntFn threadIberr = nullptr;
    LongFn threadIbcntl = nullptr;
    int* iberrGlobal = nullptr;
    long* ibcntlGlobal = nullptr;
};

LinuxGpibLink::LinuxGpibLink(int board, int address) : m_board(board), m_address(address) {}

LinuxGpibLink::~LinuxGpibLink() {
    close();
}

bool LinuxGpibLink::readPlace(const QString& text, ConnectionTarget* target, QString*) {
    int board = 0;
    if (!readWholeNumber(text, 0, kLastBoard, &board))
        return false;
    target->where = QString::number(board);
    return true;
}

std::unique_ptr<Link> LinuxGpibLink::make(const ConnectionTarget& target, const SerialFraming&) {
    return std::make_unique<LinuxGpibLink>(target.where.toInt(), target.gpibAddress);
}

QString LinuxGpibLink::connectionText() const {
    return QStringLiteral("gpib:%1:%2").arg(m_board).arg(m_address);
}

QString LinuxGpibLink::libraryPath() {
    const QString fromEnvironment = qEnvironmentVariable("KVX5130_GPIB_LIBRARY");
    return fromEnvironment.isEmpty() ? QString::fromLatin1(kDefaultLibrary) : fromEnvironment;
}

int LinuxGpibLink::timeoutCode(int ms) {
    // T10us ... T1000s; code 0 (no timeout) is never chosen, a link always has one.
    static constexpr std::array<double, 17> stepsMs = {
        0.01, 0.03, 0.1, 0.3, 1, 3, 10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000, 300000, 1000000};
    for (std::size_t i = 0; i < stepsMs.size(); ++i) {
        if (stepsMs[i] >= ms)
            return static_cast<int>(i) + 1;
    }
    return static_cast<int>(stepsMs.size());
}

QString LinuxGpibLink::errorName(int iberr) {
    switch (iberr) {
    case 0:
        return QStringLiteral("EDVR: system error (GPIB driver or board not available)");
    case 1:
        return QStringLiteral("ECIC: the board is not controller-in-charge");
    case 2:
        return QStringLiteral("ENOL: no listener on the bus (is the meter on, at this address?)");
    case 3:
        return QStringLiteral("EADR: the board is not addressed correctly");
    case 4:
        return QStringLiteral("EARG: invalid argument");
    case 5:
        return QStringLiteral("ESAC: the board is not system controller");
    case 6:
        return QStringLiteral("EABO: I/O aborted (timeout)");
    case 7:
        return QStringLiteral("ENEB: no such GPIB board");
    case 8:
        return QStringLiteral("EDMA: DMA error");
    case 10:
        return QStringLiteral("EOIP: asynchronous I/O in progress");
    case 11:
        return QStringLiteral("ECAP: not supported by the board");
    case 12:
        return QStringLiteral("EFSO: file system error");
    case 14:
        return QStringLiteral("EBUS: GPIB bus error");
    case 15:
        return QStringLiteral("ESTB: serial poll status byte lost");
    case 16:
        return QStringLiteral("ESRQ: SRQ stuck on");
    case 20:
        return QStringLiteral("ETAB: table problem");
    default:
        return QStringLiteral("GPIB error %1").arg(iberr);
    }
}

QString LinuxGpibLink::description() const {
    return QStringLiteral("GPIB board %1, address %2").arg(m_board).arg(m_address);
}

bool LinuxGpibLink::failCall(int number, const QString& call, QString* error) {
    const int code = m_library->lastError();
    if (code == kErrorDriver) {
        // The board or its driver went away: take the descriptor offline so the
        // next write starts again from ibdev.
        m_library->ibonl(m_ud, 0);
        m_ud = -1;
    }
    return fail(number, QStringLiteral("%1 on %2 failed: %3").arg(call, description(), errorName(code)),
                error);
}

bool LinuxGpibLink::open(QString* error) {
    close();
    const QString path = libraryPath();
    auto library = std::make_unique<GpibLibrary>();
    QString loadError;
    if (!library->load(path, &loadError))
        return fail(kLinkOpenError, loadError, error);
    m_library = std::move(library);
    const int ud = m_library->ibdev(m_board, m_address, 0, timeoutCode(timeoutMs()), 1, 0);
    if (ud < 0)
        return fail(
            kLinkOpenError,
            QStringLiteral("ibdev on %1 failed: %2").arg(description(), errorName(m_library->lastError())),
            error);
    m_ud = ud;
    return succeed();
}

void LinuxGpibLink::close() {
    if (m_ud < 0)
        return;
    m_library->ibloc(m_ud);
    m_library->ibonl(m_ud, 0);
    m_ud = -1;
}

void LinuxGpibLink::setTimeoutMs(int ms) {
    Link::setTimeoutMs(ms);
    if (m_ud >= 0)
        m_library->ibtmo(m_ud, timeoutCode(ms));
}

bool LinuxGpibLink::write(const QByteArray& data, QString* error) {
    if (m_ud < 0)
        return fail(kLinkNotOpenError, QStringLiteral("%1 is not open").arg(description()), error);
    const int status = m_library->ibwrt(m_ud, data.constData(), data.size());
    if (status & kStatusError)
        return failCall(status & kStatusTimeout ? kLinkTimeoutError : kLinkWriteError,
                        QStringLiteral("ibwrt"), error);
    return succeed();
}

bool LinuxGpibLink::read(QByteArray* reply, QString* error) {
    if (m_ud < 0)
        return fail(kLinkNotOpenError, QStringLiteral("%1 is not open").arg(description()), error);
    QByteArray received;
    char chunk[kReadChunk];
    while (received.size() < kLongestReply) {
        const int status = m_library->ibrd(m_ud, chunk, kReadChunk);
        if (status & kStatusError) {
            const bool timedOut = (status & kStatusTimeout) || m_library->lastError() == kErrorAborted;
            return failCall(timedOut ? kLinkTimeoutError : kLinkReadError, QStringLiteral("ibrd"), error);
        }
        received.append(chunk, static_cast<int>(qBound(0L, m_library->lastCount(), kReadChunk)));
        if ((status & kStatusEnd) || received.endsWith('\n'))
            break;
    }
    *reply = received;
    return succeed();
}

} // namespace kvx
