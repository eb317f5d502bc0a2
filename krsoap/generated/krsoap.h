#pragma once

/// \file
/// The generated web-service value types, in place of the stand-in's, whose header tells what the
/// fields mean. Beside them: the serialisers (krsoapH.h) and the name spaces (KRSearch.nsmap).

#include <krsoap/krsoapStub.h>

/// Two ids are equal when both words are.
inline bool operator==(const ns__SensorId& left, const ns__SensorId& right) noexcept
{
    return left.word1 == right.word1 && left.word2 == right.word2;
}

inline bool operator!=(const ns__SensorId& left, const ns__SensorId& right) noexcept
{
    return !(left == right);
}
