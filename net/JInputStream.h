#ifndef JAY_NET_JINPUTSTREAM_H
#define JAY_NET_JINPUTSTREAM_H

#include "core/JByte.h"
#include "core/JObject.h"

/**
 * A source of bytes. Reads return the number of bytes read, 0 at the end of the stream and -1 on failure.
 * The implementing class says whether a call blocks, and which threads may call.
 */
class JAY_API JInputStream : public JObject {
public:
    const JClass* getClass() const override;
    static const JClass classJInputStream;

    /** The number of bytes that can be read without waiting. */
    virtual int available() = 0;

    /** Closes the source. */
    virtual int close() = 0;

    /** Reads one byte. @return 0..255, or a negative value at the end of the stream and on failure. */
    virtual int read() = 0;

    /** Fills `b` from its start, up to its size. */
    virtual int read(JByte& b) = 0;

    /** Reads up to `len` bytes into `b` from index `off`. */
    virtual int read(JByte& b, int off, int len) = 0;

    /** Skips up to `n` bytes. @return the number of bytes skipped. */
    virtual long skip(long n) = 0;
};

#endif
