// The media types the filter registers for its input pin: each input subtype
// with the three major types in turn (audio, MPEG-2 PES, DVD pack).
#pragma once

#include "platform/dshow/class_factory.h"

constexpr int kRegisteredSubtypeCount = 18;
constexpr int kRegisteredInputTypeCount = kRegisteredSubtypeCount * 3;

struct RegisteredInputTypes {
    RegisteredInputTypes();
    AMOVIESETUP_MEDIATYPE types[kRegisteredInputTypeCount];
};
extern const RegisteredInputTypes registeredInputTypes;
