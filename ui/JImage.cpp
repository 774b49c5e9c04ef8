#include "ui/JImage.h"

JImage::JImage() = default;
JImage::~JImage() = default;
