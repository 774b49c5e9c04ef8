#include "net/JDataOutputStream.h"

const JClass JDataOutputStream::classJDataOutputStream = {"JDataOutputStream", sizeof(JDataOutputStream),
                                                          &JOutputStream::classJOutputStream};

JDataOutputStream::JDataOutputStream(JOutputStream* wrapped) : out(wrapped), written(0) {
}

const JClass* JDataOutputStream::getClass() const {
    return &classJDataOutputStream;
}

int JDataOutputStream::close() {
    return out->close();
}
int JDataOutputStream::flush() {
    return out->flush();
}
int JDataOutputStream::write(int c) {
    return count(1, out->write(c));
}
int JDataOutputStream::write(JByte& b) {
    return count(b.size(), out->write(b));
}
int JDataOutputStream::write(JByte& b, int off, int len) {
    return count(len, out->write(b, off, len));
}
int JDataOutputStream::size() {
    return written;
}

int JDataOutputStream::count(int bytes, int result) {
    if (result != -1)
        written = static_cast<int>(static_cast<unsigned>(written) + static_cast<unsigned>(bytes));
    return result;
}
