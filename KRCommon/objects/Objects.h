#pragma once

/// \file
/// The record of a detected object, KR_ObjectBase, and what goes with it.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/objects/Geom_Box2D.h>
#include <KRCommon/objects/Record_Status.h>

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// Bytes that an object carries without looking into them; shared among its copies.
using KR_Auxiliary_Data = std::shared_ptr<std::vector<unsigned char>>;

/// A query's filter, as services pass it around. The library carries it.
struct QueryCriteria {
    std::int32_t Words1[6] = {}; ///< carried as it is
    ns__HsvColor Color;          ///< zero at first
    std::int32_t Words2[5] = {}; ///< carried as it is
};

/// What a service knows of an object beside its record.
class ObjectMetadata {
public:
    /// Copied and moved as a whole, member by member.
    /// @{
    ObjectMetadata() = default;
    ObjectMetadata(const ObjectMetadata&) = default;
    ObjectMetadata(ObjectMetadata&&) noexcept = default;
    ObjectMetadata& operator=(const ObjectMetadata&) = default;
    ObjectMetadata& operator=(ObjectMetadata&&) noexcept = default;
    virtual ~ObjectMetadata() = default;
    /// @}

    ACE_Time_Value Time;   ///< carried as it is
    Geom_Box2D<float> Box; ///< carried as it is
};

/// The same with a block of bytes of its own, which its copies share.
class ObjectMetadataWithAuxilaryData : public ObjectMetadata {
public:
    /// Never null in a new one.
    KR_Auxiliary_Data AuxiliaryData = std::make_shared<std::vector<unsigned char>>();
};

/// The record of one detected object: who saw it and when, its class scores, and the observations
/// (instances) of it, each with a time, a box and colours; its compact binary form for storage and
/// transport; and what queries ask of it.
///
///     KR_ObjectBase object;
///     object.ObjectId = 12;
///     object.FirstSeenTime = ACE_OS::gettimeofday();
///     object.Instances.emplace_back().Box = Geom_Box2D<float>(10, 20, 30, 60);
///
///     std::vector<unsigned char> bytes(object.serialize_size(65536));
///     bytes.resize(object.serialize(bytes.data(), 65536));
///
///     KR_ObjectBase stored;
///     KR_ObjectBase::deserialize(bytes.data(), static_cast<unsigned>(bytes.size()), &stored);
///
/// Bytes of unknown origin are for decode(), which checks them:
///
///     const KR_Record_Status status = stored.decode(bytes.data(), bytes.size());
///     if (status.state == KR_Record_State::whole)
///         show(stored);
///
/// docs/record_format.md has the byte map of the binary form, a worked example and its quirks.
///
/// Verbatim: a member named only for its place (Word1, Float2) has a meaning that the services
/// agree on among themselves; it is carried as it is.
/// Threads: an object belongs to one thread at a time. Copies share the auxiliary data block, which
/// nothing locks.
/// Failure: copying and decoding may throw std::bad_alloc; moving never throws.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_ObjectBase {
public:
    /// One observation of the object.
    struct Instance {
        // Written out: with a defaulted one a new element of a vector is cleared as a whole before
        // its members are, which takes a quarter of the time of decoding.
        /// Zero throughout; the box holds no value.
        Instance() noexcept {} // NOLINT(modernize-use-equals-default)

        ACE_Time_Value Time;    ///< the binary form keeps the low 32 bits of the seconds, signed
        std::int32_t Word1 = 0; ///< not part of the binary form
        std::int32_t Word2 = 0; ///< not part of the binary form
        /// A value above 0: the object was taken for that class. The binary form keeps them
        /// truncated to signed bytes, so -128 to 127: 1.9 comes back as 1, 200 as -56.
        float PersonValue = 0.0F;
        float VehicleValue = 0.0F; ///< as PersonValue
        float ObjectValue = 0.0F;  ///< as PersonValue
        float UnknownValue = 0.0F; ///< as PersonValue
        Geom_Box2D<float> Box;     ///< where the object is in the picture, see Geom_Box2D
        float Float1 = 0.0F;       ///< carried as it is
        float Float2 = 0.0F;       ///< carried as it is; reported with debug instances
        std::uint8_t Flag = 0;     ///< carried as it is
        float Group[4] = {}; ///< carried as it is; three of them are reported with debug instances
        std::int32_t Number = 0;              ///< the binary form keeps its low 8 bits, signed
        std::vector<ns__RgbColorArea> Colors; ///< fewer than 128, see serialize_instances()
        float PointX = 0.0F; ///< a point of the observation, in the box's coordinates
        float PointY = 0.0F; ///< see PointX
    };

    /// No instances, detector type 7, an empty auxiliary data block; all else zero.
    KR_ObjectBase();

    /// A copy has everything of its own but the auxiliary data block, which it shares: a change of
    /// the block's bytes through one object is seen through the other. What was moved from may be
    /// assigned to or destroyed; it has no block.
    /// @{
    KR_ObjectBase(const KR_ObjectBase& other);
    KR_ObjectBase(KR_ObjectBase&& other) noexcept;
    KR_ObjectBase& operator=(const KR_ObjectBase& other);
    KR_ObjectBase& operator=(KR_ObjectBase&& other) noexcept;
    virtual ~KR_ObjectBase();
    /// @}

    /// Makes the object what a new one is, and keeps its memory for what it is to hold next: the
    /// room for instances, the lists of their colours, and the auxiliary data block, unless the
    /// block is shared: the sharers keep it with its bytes, and the object gets another one. So one
    /// object takes in record after record, with no part of one left in the next. The memory is
    /// given back when the object is destroyed. When memory runs out the object is as it was.
    void clear();

    /// Whether object id and sensor are the same; nothing else counts.
    bool operator==(const KR_ObjectBase& other) const;
    /// The opposite of ==.
    bool operator!=(const KR_ObjectBase& other) const { return !(*this == other); }

    /// How many bytes serialize() writes with the same limit, provided that it is 4 or more. Throws
    /// std::bad_alloc for a record of 4 GiB or more, as large auxiliary data may make it.
    [[nodiscard]] unsigned serialize_size(unsigned limit) const;

    /// Writes the record: the fixed block of 132 bytes, the instance list, the length of the
    /// auxiliary data and the data themselves. Reserved bytes are zero, so that equal objects give
    /// equal bytes. Pending instances are not written.
    ///
    /// buffer   at least serialize_size(limit) bytes, 4 more for a limit below 4; nothing past
    ///          the bytes written is touched. The record is to stay below 4 GiB.
    /// limit    budget of the instance list alone, counted from its first byte; see
    ///          serialize_instances()
    /// returns  bytes written
    unsigned serialize(unsigned char* buffer, unsigned limit) const;

    /// How many bytes serialize_instances() writes with the same limit. Quirk: 0 for a limit below
    /// 4, where the writer writes 4.
    [[nodiscard]] unsigned serialize_instances_size(unsigned limit) const;

    /// Writes the instance list: its count as uint32, then per instance 68 bytes and 5 bytes per
    /// colour.
    ///
    /// buffer   at least serialize_instances_size(limit) bytes, and never less than 4
    /// limit    byte budget. The first instance that does not fit whole is dropped with all after
    ///          it: not an error, but one "*ERR" line names the object and the instance
    /// returns  bytes written; nothing after them is touched
    ///
    /// Floats become bytes by truncation toward zero and keep their low 8 bits: an area of 37.9 is
    /// written as 37. What no 32-bit integer can hold, a NaN too, is written as 0.
    /// Quirk: the colour count is one signed byte. With 128 to 256 colours all are written, the
    /// reader reads none of them and takes their bytes for the next instances; with 257 it reads
    /// one, and so on.
    unsigned serialize_instances(unsigned char* buffer, unsigned limit) const;

    /// Fills an object from a record: the fixed block replaces the object's scalars and empties its
    /// pending instances, the instances are appended as deserialize_instances() does, and the
    /// auxiliary data block, shared or not, takes the record's bytes. Quirk: a record without
    /// auxiliary data leaves the object's block as it is.
    ///
    /// A record that is cut short is read as far as whole parts go: without a whole fixed block
    /// nothing is taken over; neither is a part of an instance with all after it, nor a part of
    /// the auxiliary data.
    /// Quirk: a list that counts more instances than it holds goes on into the auxiliary data,
    /// where these are long enough for an instance.
    ///
    /// buffer, length  the bytes; none outside them is read and none is changed. A null buffer has
    ///                 no bytes. They must not lie in the object's own auxiliary data.
    /// object          null fails the assertion "object != nullptr", as in deserialize_instances()
    /// returns         bytes consumed: the whole parts
    ///
    /// When memory runs out, the parts that were read by then remain, each of them whole.
    ///
    /// An object that holds no instance at the end ends the process, see deserialize_instances();
    /// decode() is the form that does not.
    static unsigned deserialize(unsigned char* buffer, unsigned length, KR_ObjectBase* object);

    /// The checked form of deserialize(), for bytes of any origin: never ends the process, and says
    /// what the bytes were found to be. Clears the object first, so that it then holds what
    /// deserialize() gives to a new one: each part that is whole, and nothing else. Bytes without a
    /// whole fixed block leave the object as it was.
    ///
    /// record, length  the bytes; none outside them is read. A null record has no bytes. They must
    ///                 not lie in the object's own auxiliary data.
    /// returns         what KR_Object_View::check() says of the same bytes. In every state but
    ///                 cut_in_fixed_block the object has been filled; hosts that want whole records
    ///                 alone go by the state.
    ///
    /// When memory runs out, the object is as it was or holds the parts that were read by then,
    /// each of them whole.
    KR_Record_Status decode(const unsigned char* record, std::size_t length);

    /// Appends the instances of an instance list to the object, as long as the object holds fewer
    /// than the list's count says: those that it held before count too. Stops before an instance
    /// that is cut short. Returns the bytes consumed: 0 where the count itself is cut short.
    ///
    /// Each box is marked as set and ordered: the smaller of each pair becomes the minimum. A pair
    /// with a NaN in it stays in the order in which it is stored. A time is brought into the
    /// normal form of ACE_Time_Value.
    ///
    /// An object that holds no instance at the end fails the assertion "obj->Instances.size() > 0":
    /// one "*EMR" line, then the process ends with exit code 1.
    static unsigned deserialize_instances(unsigned char* buffer, unsigned length,
                                          KR_ObjectBase* object);

    /// Decodes the pending instances with the static form, then lets go of their bytes. To be
    /// called on an object that holds some. When memory runs out the object is as it was.
    unsigned deserialize_instances();

    /// An instance list in binary form that the object holds until deserialize_instances() is
    /// called. Replaces one that it held; the bytes are copied. A null list has no bytes.
    void set_pending_instances(const unsigned char* list, unsigned length);
    /// How many bytes are pending; 0 when none are.
    unsigned pending_instances_length() const noexcept;

    /// Whether the object matches a query. The first-seen time alone must lie in the window [from,
    /// to], both ends inclusive.
    ///
    /// detector      must be the object's
    /// object_class  1, 2, 3: the class score of that class must not be below min_score; any other
    ///               value asks for no score
    /// min_score     a NaN, here or as the score, passes
    /// min_duration  seconds; a NaN passes
    bool test(const ACE_Time_Value& from, const ACE_Time_Value& to, ns__DetectorType detector,
              ns__ObjectClass object_class, float min_score, float min_duration) const;

    /// The box of an instance, widened toward the boxes of the instance before and after it by a
    /// percentage of the distance; where a neighbour lies inside, nothing moves.
    ///
    /// index    a position in Instances; not checked
    /// percent  0 and less give the box as it is
    Geom_Box2D<float> GetExtendedBoundingBox(unsigned index, float percent) const;

    /// Fills a query result from the object.
    ///
    /// result   its scalars are set, its lists appended to
    /// time     selects the instance of exactly this time, else the first
    /// percent  for the boxes, as in GetExtendedBoundingBox()
    /// window   how many instances around the selected one: below 0 all, else half of them (rounded
    ///          down) on each side, shifted where one side has fewer
    /// debug    appends the debug instances as well
    ///
    /// The object should have an instance. Of one that has none the scalars are reported, with
    /// instanceCount 0; the selected instance's fields and the lists stay as they were.
    void Fill(ns__QueryResultObject& result, const ACE_Time_Value& time, float percent, int window,
              bool debug) const;

    ns__SensorId SensorId;      ///< who saw the object
    std::uint64_t ObjectId = 0; ///< with the sensor the identity of the object
    /// Carried as it is; test() compares it.
    ns__DetectorType DetectorType = ns__DetectorType__value_7;
    ACE_Time_Value FirstSeenTime;                         ///< of the first observation
    std::int32_t Word1 = 0;                               ///< carried as it is
    std::int32_t Word2 = 0;                               ///< carried as it is
    ACE_Time_Value SecondTime;                            ///< carried as it is
    std::int32_t StatisticsWord1 = 0;                     ///< carried as it is
    std::int32_t StatisticsWord2 = 0;                     ///< carried as it is
    std::uint32_t Duration = 0;                           ///< whole seconds
    float ClassScores[3] = {};                            ///< of the object classes 1, 2 and 3
    std::int32_t StatisticsWord7 = 0;                     ///< carried as it is
    std::int32_t StatisticsWord8 = 0;                     ///< carried as it is
    std::vector<ObjectMetadataWithAuxilaryData> Metadata; ///< not part of the binary form
    std::vector<Instance> Instances;                      ///< in time order as appended
    KR_Auxiliary_Data AuxiliaryData;                      ///< may be null, which counts as empty

private:
    // Empty lists whose memory the next instances take. Copies of an object get none of it.
    struct Spare_Colors {
        Spare_Colors() = default;
        Spare_Colors(const Spare_Colors&) noexcept {}
        Spare_Colors(Spare_Colors&&) noexcept = default;
        Spare_Colors& operator=(const Spare_Colors&) noexcept { return *this; }
        Spare_Colors& operator=(Spare_Colors&&) noexcept = default;
        ~Spare_Colors() = default;

        std::vector<std::vector<ns__RgbColorArea>> lists;
    };

    explicit KR_ObjectBase(KR_Auxiliary_Data block) noexcept;

    std::vector<unsigned char> pending_instances_;
    Spare_Colors spare_colors_;
};
