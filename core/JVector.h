#ifndef JAY_CORE_JVECTOR_H
#define JAY_CORE_JVECTOR_H

#include "core/JObject.h"

/** An empty class: it holds nothing. Kept for programs that name it; use JObjectArray. */
class JAY_API JVector : public JObject {
public:
    static const JClass classJVector;

    JVector();
    ~JVector() override;

    const JClass* getClass() const override;
};

#endif
