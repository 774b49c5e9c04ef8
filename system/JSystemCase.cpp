#include <cctype>

#include "system/JSystem.h"

char* JSystem::lcase(char* s) {
    for (char* at = s; at != nullptr && *at != '\0'; ++at) {
        const unsigned char byte = static_cast<unsigned char>(*at);
        if (byte < 128 && std::isupper(byte)) *at = static_cast<char>(std::tolower(byte));
    }
    return s;
}

char* JSystem::ucase(char* s) {
    for (char* at = s; at != nullptr && *at != '\0'; ++at) {
        const unsigned char byte = static_cast<unsigned char>(*at);
        if (byte < 128 && std::islower(byte)) *at = static_cast<char>(std::toupper(byte));
    }
    return s;
}
