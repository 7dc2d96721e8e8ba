// A stand-in for linux-gpib's libgpib.so.0, loaded by the driver in tests through
// $KVX5130_GPIB_LIBRARY. It implements the NI-488.2 calls the driver uses on top
// of the simulator's raw TCP port ($KVX_GPIB_STANDIN_PORT): a GPIB message with
// EOI becomes the bytes plus a line feed (the simulator's delimiter), and a read
// returns one line with END. Every call is appended to $KVX_GPIB_STANDIN_TRACE,
// one line each, so a test can see what the driver did and in which order.

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kErr = 0x8000;
constexpr int kTimo = 0x4000;
constexpr int kEnd = 0x2000;
constexpr int kCmpl = 0x0100;
constexpr int kEdvr = 0;
constexpr int kEabo = 6;
constexpr int kEarg = 4;

// Timeout codes T10us ... T1000s in milliseconds (rounded up); 0 = none.
constexpr int kTimeoutMs[] = {0,   1,   1,    1,    1,     1,     3,      10,     30,
                              100, 300, 1000, 3000, 10000, 30000, 100000, 300000, 1000000};

struct Device {
    int socket = -1;
    int timeoutMs = 1000;
    std::string pending;
};

Device g_device;
int g_iberr = 0;
long g_ibcntl = 0;
int g_ibsta = 0;

void trace(const std::string& line) {
    const char* path = std::getenv("KVX_GPIB_STANDIN_TRACE");
    if (!path)
        return;
    if (FILE* file = std::fopen(path, "a")) {
        std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
    }
}

int finish(int status, int error = 0) {
    if (status & kErr)
        g_iberr = error;
    g_ibsta = status;
    return status;
}

bool valid(int ud) {
    return ud == 0 && g_device.socket >= 0;
}

} // namespace

extern "C" {

int iberr = 0;
long ibcntl = 0;

int ThreadIberr() {
    return g_iberr;
}
long ThreadIbcntl() {
    return g_ibcntl;
}
int ThreadIbsta() {
    return g_ibsta;
}

int ibdev(int board, int pad, int sad, int tmo, int eot, int eos) {
    trace("ibdev " + std::to_string(board) + " " + std::to_string(pad) + " " + std::to_string(sad) + " " +
          std::to_string(tmo) + " " + std::to_string(eot) + " " + std::to_string(eos));
    const char* port = std::getenv("KVX_GPIB_STANDIN_PORT");
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port ? std::atoi(port) : 0));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (!port || ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(fd);
        finish(kErr, kEdvr);
        return -1;
    }
    g_device.socket = fd;
    g_device.timeoutMs = tmo >= 0 && tmo <= 17 ? kTimeoutMs[tmo] : 1000;
    g_device.pending.clear();
    finish(kCmpl);
    return 0;
}

int ibwrt(int ud, const void* buffer, long count) {
    const std::string data(static_cast<const char*>(buffer), static_cast<size_t>(count));
    trace("ibwrt " + data);
    if (!valid(ud))
        return finish(kErr, kEdvr);
    const std::string message = data + "\n";
    if (::send(g_device.socket, message.data(), message.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(message.size()))
        return finish(kErr, kEdvr);
    g_ibcntl = count;
    return finish(kCmpl);
}

int ibrd(int ud, void* buffer, long count) {
    trace("ibrd");
    if (!valid(ud))
        return finish(kErr, kEdvr);
    while (g_device.pending.find('\n') == std::string::npos) {
        pollfd watch{g_device.socket, POLLIN, 0};
        const int ready = ::poll(&watch, 1, g_device.timeoutMs == 0 ? -1 : g_device.timeoutMs);
        if (ready == 0)
            return finish(kErr | kTimo, kEabo);
        char chunk[256];
        const ssize_t got = ::recv(g_device.socket, chunk, sizeof chunk, 0);
        if (got <= 0)
            return finish(kErr, kEdvr);
        g_device.pending.append(chunk, static_cast<size_t>(got));
    }
    const size_t lineLength = g_device.pending.find('\n') + 1;
    const size_t n = lineLength < static_cast<size_t>(count) ? lineLength : static_cast<size_t>(count);
    std::memcpy(buffer, g_device.pending.data(), n);
    g_device.pending.erase(0, n);
    g_ibcntl = static_cast<long>(n);
    return finish(n == lineLength ? (kCmpl | kEnd) : kCmpl);
}

int ibtmo(int ud, int tmo) {
    trace("ibtmo " + std::to_string(tmo));
    if (tmo < 0 || tmo > 17)
        return finish(kErr, kEarg);
    if (valid(ud))
        g_device.timeoutMs = kTimeoutMs[tmo];
    return finish(kCmpl);
}

int ibclr(int) {
    trace("ibclr");
    return finish(kCmpl);
}

int ibloc(int) {
    trace("ibloc");
    return finish(kCmpl);
}

int ibonl(int, int online) {
    trace("ibonl " + std::to_string(online));
    if (!online && g_device.socket >= 0) {
        ::close(g_device.socket);
        g_device.socket = -1;
    }
    return finish(kCmpl);
}

} // extern "C"
