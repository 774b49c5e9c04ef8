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
 * Results, not exceptions: false, -1 or 0, and the three time-out flags. A failed read or write, other than a
 * time-out, closes the socket, so that isConnected() turns false; a time-out leaves it open. The time-outs
 * are fixed: 10 s to connect, 60 s for the first byte of a read, 10 s for each wait of a write.
 *
 * Threads: one thread may read while another writes. Any thread may call close() and wakeUp() meanwhile: a
 * waiting reader returns at once, a waiting writer within 100 ms, and the descriptor's number is released
 * when both have left it. Everything else wants the caller's own serialisation. connect(), reads and writes
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
     * Wraps an accepted descriptor and owns it from now on. If the peer cannot be told, host is
     * "invalid_socket", port is -1 and the socket counts as connected all the same (kept: the first read or
     * write shows what is wrong).
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
     * @return false for an unknown host, after a time-out (isConnectTimeout()), and without a descriptor. A
     * refused connection or an unreachable network gives true (kept: the first read or write then fails), and
     * so does a thread that is interrupted while it waits, and a second attempt while the system still works
     * on the first, which a time-out does not break off.
     */
    bool connect();

    /** Closes; the connection is reset, and what the peer's system has not taken is lost, unless setSoLinger() has
     * given a time. @return 1 if it was closed already, otherwise -1
     * (kept). */
    int close();

    /**
     * Closes without a reset: what has been written reaches the peer, followed by the end of the stream. Waits until
     * the peer has closed its side too, `ms` milliseconds at most, and discards what it sends meanwhile. A peer that
     * closes when it has read the end has by then read everything. What it has not taken in time the system still
     * sends after the close, unless the peer has sent something that nobody read: then the connection is reset.
     *
     * A write in progress in another thread fails at once, a read in progress ends. If the peer's system does not
     * answer any more, the close takes up to a second longer.
     */
    void closeAfterSending(int ms);

    /**
     * Ends every wait on this socket, in progress or to come, as if its time were over, without closing and
     * without the peer noticing: how a thread that reads a quiet connection is told to look up. Lasts until
     * connect(). Does nothing to a socket that is not connected.
     */
    void wakeUp();

    /** Whether connect() gave true, or the descriptor was an accepted one, and nobody has closed the socket
     * since, a failed read or write included. */
    bool isConnected();

    /** Whether the peer has closed its side or reset the connection, seen without reading and without
     * waiting. True also of a closed socket, and after wakeUp() and shutdownInput(), which hide what the peer
     * does. */
    bool isPeerClosed();

    /** Whether the last connect() ended because its time was up. */
    bool isConnectTimeout();

    /** Whether the last read did. */
    bool isReadTimeout();

    /** Whether the last write did. */
    bool isWriteTimeout();

    const char* getHost();           ///< as given, or the address of an accepted peer; the socket's own
    void setHost(const char* name);  ///< for the next connect(); copied, cut at 255 bytes
    int getPort();                   ///< the peer's
    void setPort(int number);        ///< for the next connect()

    /** 0, and nothing: inert, kept. */
    int getSoTimeout();
    void setSoTimeout(int ms);

    /** The stream to read from, always the same one; owned by the socket. */
    JSocketInputStream* getInputStream();

    /** The stream to write to, always the same one; owned by the socket. */
    JSocketOutputStream* getOutputStream();

    /** Shuts one direction down. @return whether the socket still counts as connected: the other direction is
     * open. */
    bool shutdownInput();
    bool shutdownOutput();

    // ---- options: setters return setsockopt's result ----

    int setTcpNoDelay(bool on);             ///< off: small writes wait to be sent together
    int setSoLinger(bool on, int seconds);  ///< SO_LINGER; see close()
    int setSendBufferSize(int bytes);       ///< the system may round it
    int setReceiveBufferSize(int bytes);    ///< the system may round it
    int setKeepAlive(bool on);              ///< probe a silent connection

    /** Always false: the option is asked for with a length of 0, so nothing is read. Kept. */
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

    /** Bytes that wait in the system, in the receive window and in the read-ahead buffer; the first count as
     * 0 on failure. */
    int available() override;

    /** Closes the socket. */
    int close() override;

    /** One byte, 0..255; -1 at the end of the stream and on failure alike. */
    int read() override;

    int read(JByte& b) override;
    int read(JByte& b, int off, int len) override;

    /**
     * Waits up to 60 s for the first byte, then collects what comes until `len` bytes are there or nothing
     * has come for about 100 ms. Takes from the read-ahead buffer first, and only from it if it holds
     * anything, unless `raw`.
     * @return bytes read; 0 when the peer has closed; -1 on failure, after a time-out
     * (JSocket::isReadTimeout()), and when there is no room in `b` or nothing is asked for.
     */
    int read(JByte& b, int off, int len, bool raw);

    /** Appends up to 1024 bytes to the read-ahead buffer. @return bytes it holds now; otherwise as read(). */
    int readBuffer();

    /** 0: nothing is passed over. Kept. */
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

    /** Does nothing: nothing is held back. */
    int flush() override;

    int write(int c) override;
    int write(JByte& b) override;

    /**
     * Writes the whole range, waiting up to 10 s whenever the system takes nothing more.
     * @return 0 when every byte was taken (not a count: kept, the bus relies on it); -1 on failure and after
     * a time-out (JSocket::isWriteTimeout()), when part of the range may have gone out.
     */
    int write(JByte& b, int off, int len) override;

    /** As write(b, off, len), of `n` bytes of plain memory. */
    int writeFrom(const char* from, int n);

    /**
     * Sends what the system takes at once, without waiting.
     * @return how many of the bytes it took: 0..n. A failure counts as 0, and is for a write() to tell.
     */
    int offer(const char* from, int n);

private:
    friend struct jay::detail::JSocketPeer;

    JAY_HIDDEN long sendSome(int number, const char* from, int n);
    JAY_HIDDEN int finish(long outcome);

    JSocket* socket;
};

#endif
