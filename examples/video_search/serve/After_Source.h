#pragma once

/// \file
/// A source without the objects up to a cursor. Threads: as the source.

#include "Cursor.h"
#include "store/Object_Source.h"

#include <functional>

namespace video_search {

class After_Source final : public Object_Source {
public:
    /// All must live longer. The cursor is of an object in the order of the criteria.
    ///
    /// is_stopped  ends a walk over objects that are passed over, too
    After_Source(Object_Source& source, const Criteria& criteria, const Cursor& cursor,
                 const std::function<bool()>& is_stopped);

    void visit(const Filter& filter, const Visitor& visitor) override;
    std::size_t count(const ACE_Time_Value& from, const ACE_Time_Value& to) override;

private:
    Object_Source& source_;
    const Criteria& criteria_;
    const Cursor& cursor_;
    const std::function<bool()>& is_stopped_;
};

} // namespace video_search
