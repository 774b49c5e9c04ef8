#ifndef JAY_NET_JSOCKET_H
#define JAY_NET_JSOCKET_H

#include <atomic>
#include <memory>

#include "core/JObject.h"
#include "net/JInetAddress.h"
#include "net/JInputStream.h"
#include "net/JOutputStream.h"

namespace jay::detail {
class Descriptor;
struct JSocketPeer;
}  // namespace jay::detail
struct sockaddr_in;

/**
 * A TCP/IPv4 connection: made from a host and a port and then connected, or wrapped around an accepted
 * descriptor.
 *
 * Failures are reported by results: false, -1 or 0, and the three time-out flags. A failed read or write, other than a
 * time-out, closes the socket, so that isConnected() turns false; a time-out leaves it open. The time-outs
 * are fixed: 10 s to connect, 60 s for the first byte of a read, 10 s for each wait of a write.
 *
 * Threads: one thread may read while another writes. Any thread may call close() and wakeUp() meanwhile: a
 * waiting reader returns at once, a waiting writer within 100 ms, and the descriptor's number is released
 * when both have left it. The caller must serialise all other calls. connect(), reads and writes
 * are cancellation points.
 *
 * A peer that goes away never raises SIGPIPE. Descriptor numbers may be of any size.
 */
class JAY_API JSocket : public JObject {
public:
    class JSocketInputStream;
    class JSocketOutputStream;

    /** Not connected yet. @param host name or dotted address, cut at 255 bytes; null is empty. @param
     * port 1..65535. */
    JSocket(const char* host, int port);

    /**
     * Wraps an accepted descriptor and takes ownership of it. If the system does not know the peer, the host is
     * "invalid_socket", the port is -1, and the socket nevertheless counts as connected (kept: the first read or
     * write fails).
     */
    explicit JSocket(int fd);

    /** Closes, and deletes the streams. No other thread may be inside a call. */
    ~JSocket() override;

    JSocket(const JSocket&) = delete;
    JSocket& operator=(const JSocket&) = delete;

    // ---- connection ----

    /**
     * Connects, closing a former connection first. Blocks for up to 10 s, and for as long as a name look-up
     * takes.
     * @return false for an unknown host, after a time-out (isConnectTimeout()), and if the system has no free
     * descriptor. True also if the connection was refused, if the network is unreachable, or if the thread was
     * interrupted while it waited (kept: the first read or write then fails); and for a second attempt while the
     * system still continues the first one, which a time-out does not stop.
     */
    bool connect();

    /** Closes the socket. Unless setSoLinger() has set a time, the connection is reset, and data that the peer's system
     * has not received yet is lost. @return 1 if the socket was closed already, otherwise -1 (kept: callers rely on
     * it). */
    int close();

    /**
     * Closes the socket without a reset: the peer receives all written data, followed by the end of the stream. Waits
     * until the peer has closed its side too, at most `ms` milliseconds, and discards data that the peer sends
     * meanwhile. If the peer closes its side when it reads the end, it has read everything by then. Data that the peer
     * has not received in time is still sent by the system after the close, unless data from the peer arrives that
     * nobody has read: then the system resets the connection.
     *
     * A write in progress in another thread fails at once, and a read in progress ends. If the peer's system does not
     * answer any more, the close takes up to a second longer.
     */
    void closeAfterSending(int ms);

    /**
     * Ends all present and future waits on this socket as if their time were over. It does not close the socket, and
     * the peer does not notice it. Use it to make a thread return that reads from a silent connection. The effect
     * lasts until connect(). Has no effect on a socket that is not connected.
     */
    void wakeUp();

    /** Whether connect() has returned true or the socket was made from an accepted descriptor, and the socket was not
     * closed since; a failed read or write closes it. */
    bool isConnected();

    /** Whether the peer has closed its side or reset the connection. Does not read and does not wait. Also true if
     * the socket is closed, and after wakeUp() and shutdownInput(). */
    bool isPeerClosed();

    /** Whether the last connect() ended with a time-out. */
    bool isConnectTimeout();

    /** Whether the last read ended with a time-out. */
    bool isReadTimeout();

    /** Whether the last write ended with a time-out. */
    bool isWriteTimeout();

    const char* getHost();           ///< as given, or the address of an accepted peer; owned by the socket
    void setHost(const char* name);  ///< for the next connect(); copied, cut at 255 bytes
    int getPort();                   ///< the port of the peer
    void setPort(int number);        ///< for the next connect()

    /** Returns 0; setting it has no effect (kept: callers rely on it). */
    int getSoTimeout();
    void setSoTimeout(int ms);

    /** The stream to read from, always the same one; owned by the socket. */
    JSocketInputStream* getInputStream();

    /** The stream to write to, always the same one; owned by the socket. */
    JSocketOutputStream* getOutputStream();

    /** Shuts one direction down. @return whether the other direction is open: the socket still counts as
     * connected. */
    bool shutdownInput();
    bool shutdownOutput();

    // ---- options: setters return setsockopt's result ----

    int setTcpNoDelay(bool on);             ///< true: small writes are sent at once, not collected
    int setSoLinger(bool on, int seconds);  ///< SO_LINGER; see close()
    int setSendBufferSize(int bytes);       ///< the system may round it
    int setReceiveBufferSize(int bytes);    ///< the system may round it
    int setKeepAlive(bool on);              ///< true: the system probes a silent connection

    /** Always returns false (kept: the option is read with a length of 0). */
    bool getTcpNoDelay();

    /** Seconds, 0 when lingering is off, -1 on failure. */
    int getSoLinger();

    /** Bytes as the system counts them, 0 on failure. */
    int getSendBufferSize();
    int getReceiveBufferSize();

    /** Whether a silent connection is probed; false on failure, too. */
    bool getKeepAlive();

    // ---- addresses ----

    /** The local port, -1 on failure. */
    int getLocalPort();

    /** The address connected to. */
    JInetAddress getInetAddress();

    /** The local address, 0.0.0.0 on failure. */
    JInetAddress getLocalAddress();

private:
    friend class JServerSocket;
    friend struct jay::detail::JSocketPeer;

    enum class Attempt { CONNECTED, FAILED, ALREADY_CONNECTED };

    /** Wraps a non-blocking descriptor whose peer is known from accept(): a connection that was reset since has no
     * peer name any more. */
    JAY_HIDDEN JSocket(int fd, const sockaddr_in& peer);

    JAY_HIDDEN void setPeer(const sockaddr_in& peer);
    JAY_HIDDEN Attempt connectOnce();
    JAY_HIDDEN bool resolveHost();
    JAY_HIDDEN void discardUntilEnd(int number, int ms);
    JAY_HIDDEN bool openDescriptor();
    JAY_HIDDEN void fail(const char* text);
    JAY_HIDDEN int setOption(int level, int name, int value);
    JAY_HIDDEN int getOption(int level, int name);
    JAY_HIDDEN int noConnection();

    // Atomic: touched by the reader, the writer and whoever closes without a common lock. The descriptor
    // orders what must be ordered, so relaxed accesses would do.
    std::atomic<int> fd{-1};
    int port;
    std::atomic<bool> connected{false};
    std::atomic<bool> inputShutdown{true};
    std::atomic<bool> outputShutdown{true};
    int connectTimeout = 10;  // seconds, as the two below
    int readTimeout = 60;
    int writeTimeout = 10;
    std::atomic<bool> connectTimedOut{false};
    std::atomic<bool> readTimedOut{false};
    std::atomic<bool> writeTimedOut{false};
    char host[256];
    char hostAddress[32];
    char message[2048];
    JSocketInputStream* input = nullptr;
    JSocketOutputStream* output = nullptr;

    std::unique_ptr<jay::detail::Descriptor> descriptor;  // guards the number in fd
};

/** Reads a socket. The owner makes and deletes it. One thread at a time. */
class JAY_API JSocket::JSocketInputStream : public JInputStream {
public:
    explicit JSocketInputStream(JSocket* owner);  ///< reads `owner`, which must outlive it
    ~JSocketInputStream() override;
    JSocketInputStream(const JSocketInputStream&) = delete;
    JSocketInputStream& operator=(const JSocketInputStream&) = delete;

    /** The bytes that wait in the system, in the receive window and in the read-ahead buffer. If the system does not
     * report its number, it counts as 0. */
    int available() override;

    /** Closes the socket. */
    int close() override;

    /** One byte, 0..255; -1 at the end of the stream and on failure alike. */
    int read() override;

    int read(JByte& b) override;
    int read(JByte& b, int off, int len) override;

    /**
     * Waits up to 60 s for the first byte, and then reads until `len` bytes have arrived or none has arrived for
     * about 100 ms. If the read-ahead buffer is not empty and `raw` is false, reads from that buffer only.
     * @return the number of bytes read; 0 if the peer has closed; -1 on failure, after a time-out
     * (JSocket::isReadTimeout()), if there is no room in `b`, and if `len` is not above 0.
     */
    int read(JByte& b, int off, int len, bool raw);

    /** Reads up to 1024 bytes and appends them to the read-ahead buffer. @return the number of bytes in the buffer;
     * otherwise as read(). */
    int readBuffer();

    /** Returns 0 and skips nothing (kept: callers rely on it). */
    long skip(long n) override;

    // ---- messages: bytes are looked at where they were received, and taken when they are complete ----

    static constexpr int WINDOW_SIZE = 8192;  ///< how many bytes can be looked at together

    /**
     * The next `n` bytes, 1..WINDOW_SIZE, if all of them have been received already; otherwise null. They stay in the
     * stream, and where they are until the next operation on it other than consume(). Makes no system call, so what
     * still waits in the system does not count, nor does the read-ahead buffer.
     */
    const char* received(int n);

    /**
     * As received(), but waits for what is missing, up to 60 s for each part that comes.
     * @return null at the end of the stream and on failure, which close the socket, and after a time-out
     * (JSocket::isReadTimeout()), which drops what had come of the `n` bytes.
     */
    const char* await(int n);

    /** Takes `n` bytes that received() or await() has shown. */
    void consume(int n);

    /** As read(b, off, len), into plain memory and without the read-ahead buffer. */
    int readInto(char* to, int n);

private:
    friend class JSocket;
    friend struct jay::detail::JSocketPeer;

    JAY_HIDDEN int takeBuffered(char* to, int n);
    JAY_HIDDEN void openWindow();
    JAY_HIDDEN int held() const;
    JAY_HIDDEN long receiveSome(int number, char* to, int n, int seconds);
    JAY_HIDDEN long fillWindow(int number, long long ms);
    JAY_HIDDEN long transfer(int number, char* to, int n, long long ms);
    JAY_HIDDEN int finish(long outcome, int got);

    JSocket* socket;
    JByte* buffer = nullptr;
    int buffered = 0;
    int capacity = 0;

    // The receive window: what one system call brought beyond what was asked for, so that a header and
    // its payload cost one call. An extension of the system's own buffer: read-ahead knows nothing of it.
    std::unique_ptr<char[]> window;
    int windowStart = 0;
    int windowEnd = 0;
    unsigned windowGeneration = 0;  // the connection that the window's bytes came from
    bool quiet = false;  // the last try found nothing: the next one waits first, which spares a system call
};

/** Writes to a socket. The owner makes and deletes it. One thread at a time. */
class JAY_API JSocket::JSocketOutputStream : public JOutputStream {
public:
    explicit JSocketOutputStream(JSocket* owner);  ///< writes to `owner`, which must outlive it

    /** Closes the socket. */
    int close() override;

    /** Does nothing: there is no buffer. */
    int flush() override;

    int write(int c) override;
    int write(JByte& b) override;

    /**
     * Writes the whole range. Waits up to 10 s whenever the system accepts no more bytes.
     * @return 0 if the system has accepted every byte (not a count: kept, the bus relies on it); -1 on failure and
     * after a time-out (JSocket::isWriteTimeout()). Part of the range may have been sent then.
     */
    int write(JByte& b, int off, int len) override;

    /** As write(b, off, len), of `n` bytes of plain memory. */
    int writeFrom(const char* from, int n);

    /**
     * Sends as many bytes as the system accepts without waiting.
     * @return the number of bytes accepted, 0..n. 0 also on failure; the next write() reports the failure.
     */
    int offer(const char* from, int n);

private:
    friend struct jay::detail::JSocketPeer;

    JAY_HIDDEN long sendSome(int number, const char* from, int n);
    JAY_HIDDEN int finish(long outcome);

    JSocket* socket;
};

#endif
