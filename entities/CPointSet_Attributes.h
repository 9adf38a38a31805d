// SPDX-License-Identifier: MIT
// Typed access to the attributes of kPointAttributes (entities/CPtsData.h),
// for code that walks the table: the element type of each row, a visit that
// turns a row's element kind into a type, and the row's collection in a
// section, found at the position of the row's bit.
#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

#include "core/CCollection_Internal.h"
#include "core/CCollection_Internal_InBuilt.h"
#include "core/CPoint2.h"
#include "core/CPoint3.h"
#include "core/CQEL_Point3_Updatable.h"
#include "core/CVector3.h"
#include "entities/CPtsData.h"

namespace QEL::Core {

class CPointSet_Section;

template <EPointElement E>
struct SPointElement;
template <>
struct SPointElement<EPointElement::Position> {
    using Type = Elements::CQEL_Point3_Updatable<double>;
    using Collection = CCollection_Internal_InBuilt<Type>;
};
template <>
struct SPointElement<EPointElement::Vector3> {
    using Type = Elements::CVector3<double>;
};
template <>
struct SPointElement<EPointElement::Point3> {
    using Type = Elements::CPoint3<double>;
};
template <>
struct SPointElement<EPointElement::Point2> {
    using Type = Elements::CPoint2<double>;
};
template <>
struct SPointElement<EPointElement::Double> {
    using Type = double;
};
template <>
struct SPointElement<EPointElement::Int16> {
    using Type = std::int16_t;
};
template <>
struct SPointElement<EPointElement::Int32> {
    using Type = std::int32_t;
};
template <>
struct SPointElement<EPointElement::Pointer> {
    using Type = void*;
};

template <EPointElement E>
using PointElement_t = typename SPointElement<E>::Type;
// The collection class of a row: the positions mark their own changes.
template <EPointElement E>
using PointCollection_t =
    std::conditional_t<E == EPointElement::Position, CCollection_Internal_InBuilt<PointElement_t<E>>,
                       CCollection_Internal<PointElement_t<E>>>;

// Elements stored as rows of doubles (components), or as their own bytes.
template <EPointElement E>
constexpr int kPointComponents = E == EPointElement::Point2                                               ? 2
                                 : std::is_arithmetic_v<PointElement_t<E>> || E == EPointElement::Pointer ? 1
                                                                                                          : 3;

// The components of element as doubles, and an element from them.
template <EPointElement E>
void ToComponents(PointElement_t<E> const& e, double* out) {
    if constexpr (std::is_arithmetic_v<PointElement_t<E>>)
        out[0] = double(e);
    else if constexpr (E == EPointElement::Pointer)
        out[0] = 0.0;
    else if constexpr (kPointComponents<E> == 2)
        out[0] = e.x, out[1] = e.y;
    else
        out[0] = e.x, out[1] = e.y, out[2] = e.z;
}
template <EPointElement E>
PointElement_t<E> FromComponents(double const* in) {
    using T = PointElement_t<E>;
    if constexpr (std::is_arithmetic_v<T>)
        return T(in[0]);
    else if constexpr (E == EPointElement::Pointer)
        return nullptr;
    else if constexpr (kPointComponents<E> == 2)
        return T(in[0], in[1]);
    else
        return T(in[0], in[1], in[2]);
}

// f.template operator()<E>() with the row's element kind as a constant.
template <class F>
constexpr decltype(auto) VisitPointElement(EPointElement element, F&& f) {
    switch (element) {
        case EPointElement::Position:
            return f.template operator()<EPointElement::Position>();
        case EPointElement::Vector3:
            return f.template operator()<EPointElement::Vector3>();
        case EPointElement::Point3:
            return f.template operator()<EPointElement::Point3>();
        case EPointElement::Point2:
            return f.template operator()<EPointElement::Point2>();
        case EPointElement::Double:
            return f.template operator()<EPointElement::Double>();
        case EPointElement::Int16:
            return f.template operator()<EPointElement::Int16>();
        case EPointElement::Int32:
            return f.template operator()<EPointElement::Int32>();
        case EPointElement::Pointer:
            break;
    }
    return f.template operator()<EPointElement::Pointer>();
}

// Position of a row's collection in a section (its bit's position).
constexpr int PointAttributePosition(SPointAttribute const& a) {
    return std::countr_zero(a.bit);
}
constexpr CPtsData PointAttributeFlag(SPointAttribute const& a) {
    return CPtsData(a.bit);
}

// The row's collection in section; E must be the row's element kind.
template <EPointElement E, class Section>
auto& PointAttributeCollection(Section& section, SPointAttribute const& a) {
    using C = std::conditional_t<std::is_const_v<Section>, PointCollection_t<E> const, PointCollection_t<E>>;
    return static_cast<C&>(*section.GetCollection(PointAttributePosition(a)));
}

}  // namespace QEL::Core
