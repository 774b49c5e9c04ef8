#include "net/JDataInputStream.h"

#include <algorithm>

const JClass JDataInputStream::classJDataInputStream = {"JDataInputStream", sizeof(JDataInputStream),
                                                        &JInputStream::classJInputStream};

JDataInputStream::JDataInputStream(JInputStream* wrapped) : in(wrapped) {
}

const JClass* JDataInputStream::getClass() const {
    return &classJDataInputStream;
}

int JDataInputStream::available() {
    return in->available();
}
int JDataInputStream::close() {
    return in->close();
}
int JDataInputStream::read() {
    return in->read();
}
int JDataInputStream::read(JByte& b) {
    return in->read(b);
}
int JDataInputStream::read(JByte& b, int off, int len) {
    return in->read(b, off, len);
}
long JDataInputStream::skip(long n) {
    return in->skip(n);
}

int JDataInputStream::readFully(JByte& b) {
    return readFully(b, 0, b.size());
}

int JDataInputStream::readFully(JByte& b, int off, int len) {
    const int size = b.size();
    const int start = std::min(std::max(off, 0), size);  // a negative offset would lie before the block
    int end = len;
    if (end > size - start) end = size - start;
    if (start >= end) return end;

    int pos = start;
    for (;;) {
        const int n = in->read(b, pos, end - pos);
        if (n < 0) return -1;
        if (n == 0) return 0;
        pos += n;
        if (pos >= end) return end;
    }
}
