#include "net/JInputStream.h"

const JClass JInputStream::classJInputStream = {"JInputStream", sizeof(JInputStream), &JObject::classJObject};

const JClass* JInputStream::getClass() const {
    return &classJInputStream;
}
