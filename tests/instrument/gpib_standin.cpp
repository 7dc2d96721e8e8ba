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
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kErr = 0x8000, kTimo = 0x4000, kEnd = 0x2000, kCmpl = 0x0100;
constexpr int kEdvr = 0, kEabo = 6;

int g_socket = -1;
FILE* g_replies = nullptr; // reads from g_socket
int g_iberr = 0;
long g_ibcntl = 0;

int trace(const std::string& line, int status = kCmpl) {
    const char* path = std::getenv("KVX_GPIB_STANDIN_TRACE");
    if (FILE* file = path ? std::fopen(path, "a") : nullptr) {
        std::fprintf(file, "%s\n", line.c_str());
        std::fclose(file);
    }
    return status;
}

int failed(int error, int status = kErr) {
    g_iberr = error;
    return status;
}

} // namespace

extern "C" {

int ThreadIberr() {
    return g_iberr;
}
long ThreadIbcntl() {
    return g_ibcntl;
}

int ibdev(int board, int pad, int sad, int tmo, int eot, int eos) {
    char call[64];
    std::snprintf(call, sizeof call, "ibdev %d %d %d %d %d %d", board, pad, sad, tmo, eot, eos);
    trace(call);
    const char* port = std::getenv("KVX_GPIB_STANDIN_PORT");
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port ? std::atoi(port) : 0));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const timeval oneSecond{1, 0}; // a read with no reply times out like T1s
    if (!port || ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &oneSecond, sizeof oneSecond) != 0) {
        ::close(fd);
        return failed(kEdvr, -1);
    }
    g_socket = fd;
    g_replies = ::fdopen(fd, "r");
    return 0;
}

int ibwrt(int, const void* buffer, long count) {
    const std::string data(static_cast<const char*>(buffer), static_cast<size_t>(count));
    trace("ibwrt " + data);
    const std::string message = data + '\n';
    if (::send(g_socket, message.data(), message.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(message.size()))
        return failed(kEdvr);
    g_ibcntl = count;
    return kCmpl;
}

int ibrd(int, void* buffer, long count) {
    trace("ibrd");
    char* line = static_cast<char*>(buffer);
    errno = 0;
    if (!std::fgets(line, static_cast<int>(count), g_replies)) {
        std::clearerr(g_replies);
        return errno == EAGAIN ? failed(kEabo, kErr | kTimo) : failed(kEdvr);
    }
    g_ibcntl = static_cast<long>(std::strlen(line));
    return line[g_ibcntl - 1] == '\n' ? (kCmpl | kEnd) : kCmpl;
}

int ibtmo(int, int tmo) {
    return trace("ibtmo " + std::to_string(tmo));
}
int ibclr(int) {
    return trace("ibclr");
}
int ibloc(int) {
    return trace("ibloc");
}

int ibonl(int, int online) {
    if (!online && g_replies) {
        std::fclose(g_replies); // closes g_socket as well
        g_replies = nullptr;
        g_socket = -1;
    }
    return trace("ibonl " + std::to_string(online));
}

} // extern "C"
