#!/usr/bin/env python3
"""Writes system/detail/KoreanTable.cpp: the decoding table of JSystem::kstowc().

94 rows (lead bytes 0xA1 to 0xFE) of 128 columns (trail bytes 0x80 to 0xFF), 16 bits each, high byte first. The values are
those of the published code page 949 as the interpreter's own converter knows it; pairs that the code page leaves undefined hold
'?', and the two user-defined rows map to the Private Use Area.

usage: scripts/make-korean-table.py > system/detail/KoreanTable.cpp
"""

UNDEFINED = 0x003F
USER_DEFINED_ROWS = {0xC9: 0xE000, 0xFE: 0xE05E}  # lead byte: value of trail byte 0xA1
FIRST_USER_TRAIL, LAST_USER_TRAIL = 0xA1, 0xFE


def value(lead, trail):
    if lead in USER_DEFINED_ROWS and FIRST_USER_TRAIL <= trail <= LAST_USER_TRAIL:
        return USER_DEFINED_ROWS[lead] + trail - FIRST_USER_TRAIL
    try:
        return ord(bytes((lead, trail)).decode("cp949"))
    except UnicodeDecodeError:
        return UNDEFINED


def main():
    print("// Made by scripts/make-korean-table.py; change that and run it again.")
    print('#include "system/detail/KoreanTable.h"\n')
    print("namespace jay::detail {\n")
    print("// clang-format off")
    print("const unsigned char koreanTable[94][128][2] = {")
    for lead in range(0xA1, 0xFF):
        print(f"    {{  // lead byte 0x{lead:02X}")
        for first in range(0x80, 0x100, 8):
            cells = (value(lead, trail) for trail in range(first, first + 8))
            print("        " + " ".join(f"{{0x{v >> 8:02X}, 0x{v & 0xFF:02X}}}," for v in cells))
        print("    },")
    print("};")
    print("// clang-format on\n")
    print("}  // namespace jay::detail")


if __name__ == "__main__":
    main()
