#ifndef JAY_UI_JSOUND_H
#define JAY_UI_JSOUND_H

#include "core/JObject.h"
#include "core/JString.h"

namespace jay::detail {
struct JSoundPeer;  // for the library's own tests
}

/** A sound in a file. play() is a platform hook with a weak, empty definition (docs/platform.md): without a platform layer
 * nothing is heard. */
class JAY_API JSound : public JObject {
public:
    static const JClass classJSound;

    JSound();

    /** @param fileName path below the home directory; null is empty. */
    JSound(const char* fileName);
    /** Copies the file name. */
    JSound(const JSound& other);
    /** Copies the file name. */
    JSound& operator=(const JSound& other);

    const JClass* getClass() const override;

    /**
     * Plays the file: home directory + "\\" + the file name, in which every "/" becomes a backslash (kept:
     * sound files are found by exactly this name).
     */
    void start();

    /** Platform hook; does nothing by default. @param path the file to play. */
    void play(const JString& path);

private:
    friend struct jay::detail::JSoundPeer;

    JString fileName;
};

static_assert(sizeof(void*) != 4 || sizeof(JSound) == 20, "instance size is part of the 32-bit contract");

#endif
