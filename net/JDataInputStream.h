#ifndef JAY_NET_JDATAINPUTSTREAM_H
#define JAY_NET_JDATAINPUTSTREAM_H

#include "net/JInputStream.h"

/**
 * Adds readFully() to another stream. The wrapped stream is not owned and must outlive this object;
 * everything else is forwarded to it and returns its result.
 */
class JAY_API JDataInputStream : public JInputStream {
public:
    /** Reads from `in`. */
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
     * it). With `off` 0 the call fills b[0..len). With `off` above 0 it fills b[off..len), or, if off + len is
     * greater than the size of the block, b[off..size - off); if that range is empty it returns its end at once.
     * @return the end index; 0 if the stream ended before (the number of bytes read until then is not reported);
     * -1 on failure.
     */
    int readFully(JByte& b, int off, int len);

private:
    JInputStream* in;
};

#endif
