#include "net/JOutputStream.h"

const JClass JOutputStream::classJOutputStream = {"JOutputStream", sizeof(JOutputStream),
                                                  &JObject::classJObject};

const JClass* JOutputStream::getClass() const {
    return &classJOutputStream;
}
