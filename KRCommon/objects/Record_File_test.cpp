// The loops over files of records that docs/record_format.md shows, line by line as they stand there:
// tests/record/record.py sees to it.

#include <KRCommon/objects/Objects.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Bytes = std::vector<unsigned char>;
using State = KR_Record_State;

std::vector<std::uint64_t> ids;                        // of the objects that were used
std::vector<std::pair<std::size_t, State>> complaints; // position in the file, state

void use(const KR_ObjectBase& object)
{
    ids.push_back(object.ObjectId);
}

void complain(std::size_t position, KR_Record_State state)
{
    complaints.emplace_back(position, state);
}

void read_with_lengths(const unsigned char* bytes, std::size_t size)
{
    KR_ObjectBase object; // one for all records: it keeps its memory, and nothing of a record
    std::size_t position = 0;
    while (size - position >= 4) {
        std::uint32_t length = 0;
        std::memcpy(&length, bytes + position, 4);
        position += 4;
        if (length > size - position)
            break;
        const KR_Record_Status status = object.decode(bytes + position, length);
        if (status.state == KR_Record_State::whole)
            use(object);
        else
            complain(position + status.position, status.state);
        position += length;
    }
    if (position != size)
        complain(position, KR_Record_State::cut_in_fixed_block); // the file ends within a record
}

void read_without_lengths(const unsigned char* bytes, std::size_t size)
{
    KR_ObjectBase object;
    for (std::size_t position = 0; position < size;) {
        const KR_Record_Status status = object.decode(bytes + position, size - position);
        switch (status.state) {
        case KR_Record_State::whole:          // the last one
        case KR_Record_State::trailing_bytes: // others follow
            use(object);
            break;
        case KR_Record_State::no_instances: // others may follow
            break;
        default: // where the next one would begin is not known
            complain(position + status.position, status.state);
            return;
        }
        position += status.consumed;
    }
}

Bytes record_of(std::uint64_t id, std::size_t instances)
{
    KR_ObjectBase object;
    object.ObjectId = id;
    object.Instances.resize(instances);
    Bytes record(object.serialize_size(1000));
    object.serialize(record.data(), 1000);
    return record;
}

void append(Bytes& file, const Bytes& record)
{
    file.insert(file.end(), record.begin(), record.end());
}

void append_with_length(Bytes& file, const Bytes& record)
{
    for (unsigned shift = 0; shift < 32; shift += 8)
        file.push_back(static_cast<unsigned char>(record.size() >> shift));
    append(file, record);
}

class KrRecordFile : public testing::Test {
protected:
    KrRecordFile()
    {
        ids.clear();
        complaints.clear();
    }
};

TEST_F(KrRecordFile, WithLengthsEveryWholeRecordIsRead)
{
    Bytes file;
    append_with_length(file, record_of(1, 2));
    const std::size_t second = file.size() + 4;
    Bytes cut = record_of(2, 2);
    cut.resize(136 + 68);
    append_with_length(file, cut); // cut between two instances
    const std::size_t third = file.size() + 4;
    append_with_length(file, record_of(3, 0));
    append_with_length(file, record_of(4, 1));
    const std::size_t end = file.size();
    append_with_length(file, record_of(5, 1));
    file.pop_back();
    read_with_lengths(file.data(), file.size());
    EXPECT_THAT(ids, ElementsAre(1, 4));
    EXPECT_THAT(complaints, ElementsAre(Pair(second + 136 + 68, State::cut_in_instances),
                                        Pair(third + 132, State::no_instances),
                                        Pair(end + 4, State::cut_in_fixed_block)));
}

TEST_F(KrRecordFile, WithoutLengthsAllRecordsAreReadUpToTheFirstThatIsCut)
{
    Bytes file;
    for (const std::size_t instances : {2, 0, 1, 3})
        append(file, record_of(10 + instances, instances));
    read_without_lengths(file.data(), file.size());
    EXPECT_THAT(ids, ElementsAre(12, 11, 13));
    EXPECT_THAT(complaints, IsEmpty());

    ids.clear();
    const std::size_t last = file.size() - record_of(0, 3).size();
    file.resize(file.size() - 4);
    read_without_lengths(file.data(), file.size());
    EXPECT_THAT(ids, ElementsAre(12, 11));
    EXPECT_THAT(complaints, ElementsAre(Pair(last + 136 + 3 * 68, State::cut_in_auxiliary_data)));
}

TEST_F(KrRecordFile, NoBytesAreNoRecords)
{
    read_with_lengths(nullptr, 0);
    read_without_lengths(nullptr, 0);
    EXPECT_THAT(ids, IsEmpty());
    EXPECT_THAT(complaints, IsEmpty());
}

} // namespace
