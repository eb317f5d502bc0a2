// Compiles only when the library's types are made of the other KRSOAP package's.

#include <KRCommon/objects/Objects.h>

static_assert(sizeof(KR_ObjectBase().SensorId.field_of_the_other_package) == 4);
