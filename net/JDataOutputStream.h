#ifndef JAY_NET_JDATAOUTPUTSTREAM_H
#define JAY_NET_JDATAOUTPUTSTREAM_H

#include "net/JOutputStream.h"

/**
 * Counts the bytes written to another stream. The wrapped stream is not owned and must outlive this object;
 * everything is forwarded to it and returns its result.
 */
class JAY_API JDataOutputStream : public JOutputStream {
public:
    /** Writes to `out`. */
    explicit JDataOutputStream(JOutputStream* out);

    const JClass* getClass() const override;
    static const JClass classJDataOutputStream;

    int close() override;
    int flush() override;

    /** Counts 1 unless the wrapped stream returns -1. */
    int write(int c) override;

    /** Counts `b.size()` unless the wrapped stream returns -1. */
    int write(JByte& b) override;

    /** Counts `len` unless the wrapped stream returns -1, whatever else it returns. */
    int write(JByte& b, int off, int len) override;

    /** The bytes counted so far; wraps after 2^32. */
    int size();

private:
    JAY_HIDDEN int count(int bytes, int result);

    JOutputStream* out;
    int written;
};

#endif
