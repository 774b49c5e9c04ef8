#ifndef JAY_SYSTEM_DETAIL_KOREANTABLE_H
#define JAY_SYSTEM_DETAIL_KOREANTABLE_H

namespace jay::detail {

/** Unicode values of the Korean double-byte code: by lead byte from 0xA1, trail byte from 0x80; high byte first. */
extern const unsigned char koreanTable[94][128][2];

}  // namespace jay::detail

#endif
