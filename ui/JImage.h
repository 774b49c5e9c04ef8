#ifndef JAY_UI_JIMAGE_H
#define JAY_UI_JIMAGE_H

#include "core/JExport.h"

/** A picture, for the platform layer to derive from. Holds nothing here and is not a JObject. */
class JAY_API JImage {
public:
    JImage();
    JImage(const JImage&) = default;
    JImage& operator=(const JImage&) = default;
    virtual ~JImage();
};

#endif
