#pragma once

/// \file
/// Reaches a private member, so that no installed header holds a hook for tests. The language lets
/// an explicit instantiation name what is private:
///
///     struct Length {
///         friend auto private_member(Length);
///     };
///     template struct Private_Member<Length, &cSHA1::length_low_>;
///     ... hash.*private_member(Length()) = 5;

template <typename Name, auto member>
struct Private_Member {
    friend auto private_member(Name) { return member; }
};
