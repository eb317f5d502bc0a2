#include "Criteria.h"

#include "Color_Names.h"
#include "Format.h"

#include <KRCommon/util/Time_Text.h>

namespace video_search {

ACE_Time_Value from_time(const Criteria& criteria)
{
    return criteria.from.value_or(kr_to_ace_time_value("1970/01/01 00:00:00.000000"));
}

ACE_Time_Value to_time(const Criteria& criteria)
{
    return criteria.to.value_or(kr_to_ace_time_value("3000/12/31 23:59:59.999999"));
}

const char* name_of(ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return "person";
    case ns__ObjectClass__vehicle: return "vehicle";
    case ns__ObjectClass__object: return "object";
    default: return "unknown";
    }
}

namespace {

std::string subject_of(ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return "persons";
    case ns__ObjectClass__vehicle: return "vehicles";
    case ns__ObjectClass__object: return "objects that are neither person nor vehicle";
    default: return "all objects";
    }
}

void add_order(std::vector<std::string>& words, const Criteria& criteria)
{
    if (criteria.order == Order::duration)
        words.emplace_back("longest first");
    if (criteria.order == Order::score)
        words.emplace_back("highest score first");
    if (criteria.limit)
        words.push_back("at most " + std::to_string(*criteria.limit));
}

} // namespace

std::vector<std::string> in_words(const Criteria& criteria)
{
    std::vector<std::string> words{subject_of(criteria.object_class)};
    if (criteria.color)
        words.push_back(readable_name(*criteria.color) + " on " + shortest(criteria.min_area) +
                        " % or more");
    if (criteria.min_score > 0)
        words.push_back("score " + shortest(criteria.min_score) + " or more");
    if (criteria.min_duration > 0)
        words.push_back(shortest(criteria.min_duration) + " s or longer");
    if (criteria.from)
        words.push_back("first seen from " + time_text(*criteria.from));
    if (criteria.to)
        words.push_back("first seen to " + time_text(*criteria.to));
    add_order(words, criteria);
    return words;
}

} // namespace video_search
