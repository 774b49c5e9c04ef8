#include "thread/JRunnable.h"

JRunnable::~JRunnable() = default;
