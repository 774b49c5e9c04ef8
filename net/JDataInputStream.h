#ifndef JAY_NET_JDATAINPUTSTREAM_H
#define JAY_NET_JDATAINPUTSTREAM_H

#include "net/JInputStream.h"

/**
 * Adds readFully() to another stream. The wrapped stream is not owned and must outlive this object;
 * everything else is forwarded to it and returns its result.
 */
class JAY_API JDataInputStream : public JInputStream {
public:
    /** Reads `in`. */
    explicit JDataInputStream(JInputStream* in);

    const JClass* getClass() const override;
    static const JClass classJDataInputStream;

    int available() override;
    int close() override;
    int read() override;
    int read(JByte& b) override;
    int read(JByte& b, int off, int len) override;
    long skip(long n) override;

    /** Fills the whole of `b`: readFully(b, 0, b.size()). */
    int readFully(JByte& b);

    /**
     * Reads until the range is full. `len` is used as the END index, not as a count (kept: callers rely on
     * it): with `off` 0 the call fills b[0..len); with `off` above 0 it reads only up to index `len`, or up
     * to size - off if off + len lies beyond the block, and at once returns that end when it is not above
     * `off`.
     * @return the end index; 0 when the stream ended first (what had arrived is not told); -1 on failure.
     */
    int readFully(JByte& b, int off, int len);

private:
    JInputStream* in;
};

#endif
