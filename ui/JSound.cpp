#include "ui/JSound.h"

#include "system/JSystem.h"

const JClass JSound::classJSound = {"JSound", sizeof(JSound), &JObject::classJObject};

JSound::JSound() = default;
JSound::JSound(const char* name) : fileName(name) {
}
JSound::JSound(const JSound& other) = default;

JSound& JSound::operator=(const JSound& other) {
    fileName = other.fileName;
    return *this;
}

const JClass* JSound::getClass() const {
    return &classJSound;
}

void JSound::start() {
    play(JSystem::getHomeDirectory() + "\\" + fileName.replase('/', '\\'));
}
