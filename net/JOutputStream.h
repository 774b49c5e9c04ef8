#ifndef JAY_NET_JOUTPUTSTREAM_H
#define JAY_NET_JOUTPUTSTREAM_H

#include "core/JByte.h"
#include "core/JObject.h"

/**
 * A sink of bytes. Writes return 0 or more on success and -1 on failure. The implementing class says whether a
 * call blocks, and which threads may call.
 */
class JAY_API JOutputStream : public JObject {
public:
    const JClass* getClass() const override;
    static const JClass classJOutputStream;

    /** Closes the sink. */
    virtual int close() = 0;

    /** Writes buffered bytes. */
    virtual int flush() = 0;

    /** Writes the low 8 bits of `c`. */
    virtual int write(int c) = 0;

    /** Writes the whole of `b`. */
    virtual int write(JByte& b) = 0;

    /** Writes `len` bytes of `b` from index `off`. */
    virtual int write(JByte& b, int off, int len) = 0;
};

#endif
