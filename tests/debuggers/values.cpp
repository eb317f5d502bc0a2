// Holds a value of each type that the debugger's printers know, for gdb to stop and look at.

#include <KRCommon/objects/Objects.h>
#include <KRCommon/util/Guid.h>

__attribute__((noinline)) void stop_here(const void*)
{
    __asm__ volatile("" ::: "memory");
}

int main()
{
    KR_GUID guid;
    guid.Data1 = 0x6F9619FF;
    guid.Data2 = 0x8B86;
    guid.Data3 = 0x00D0;
    guid.Data4[0] = 0xB4;
    guid.Data4[7] = 0x0A;
    ns__HsvColor none;
    none.hue = -1;
    none.saturation = 0.5F;
    ns__HsvColor red;
    red.hue = 359;
    red.value = 1.0F;
    const Geom_Box2D<float> empty;
    KR_ObjectBase record;
    record.ObjectId = 12;
    record.SensorId.word1 = 3;
    record.Duration = 36;
    record.FirstSeenTime = ACE_Time_Value(1700000000, 42);
    record.Instances.emplace_back();
    record.Instances.back().Box = Geom_Box2D<float>(10, 20.5F, 30, 60);
    record.Instances.back().Colors.emplace_back();
    record.Instances.back().Colors.back().color.red = 165;
    record.Instances.back().Colors.back().area = 37.5F;
    const void* const all[] = {&guid, &none, &red, &empty, &record};
    stop_here(all);
    return 0;
}
