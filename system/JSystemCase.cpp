#include "core/detail/Letters.h"
#include "system/JSystem.h"

char* JSystem::lcase(char* s) {
    for (char* at = s; at != nullptr && *at != '\0'; ++at) *at = jay::detail::toLower(*at);
    return s;
}

char* JSystem::ucase(char* s) {
    for (char* at = s; at != nullptr && *at != '\0'; ++at) *at = jay::detail::toUpper(*at);
    return s;
}
