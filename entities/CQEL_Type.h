// SPDX-License-Identifier: MIT
// CQEL_Type: the common base of the library's geometric entities (point
// sets, triangulations, NURBS curves and surfaces).
//
// An entity is an event handler (CQEL_Handler_Entity, a virtual base shared
// with the entity's other bases, so constructed first), is created on the
// library's allocator, can be transformed, and answers for its derived data:
// centre of mass, bounding corners and error statistics, each computed on
// first use after a change and kept until the next one.
//
// Beside that an entity carries a name and an opaque block of user metadata,
// both stored with it by the native container.
#pragma once

#include "core/CPoint3.h"
#include "core/CQEL_Allocate.h"
#include "core/CQEL_Array.h"
#include "core/CQEL_Handler_Entity.h"
#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "entities/ITransformable.h"
#include "entities/SErrorStats.h"

namespace QEL::Core {

using Elements::CPoint3;

class QEL_API CQEL_Type : public virtual CQEL_Handler_Entity, public CQEL_Allocate, public ITransformable {
  public:
    CQEL_Type();
    CQEL_Type(CQEL_Type const& other);
    CQEL_Type& operator=(CQEL_Type const& other);
    ~CQEL_Type() override;

    // A new heap copy of the same dynamic type; the caller owns it.
    CQEL_Type* CreateCopy() const { return TypeCopy(); }

    // Centre of mass of the entity's points; (0, 0, 0) for an empty entity.
    virtual CPoint3<double> GetCenMass() const = 0;
    // Corners of the axis-aligned bounding box; (0, 0, 0) for an empty entity.
    virtual CPoint3<double> GetMin() const = 0;
    virtual CPoint3<double> GetMax() const = 0;
    // Statistics of the error values; valid until the entity next changes.
    virtual SErrorStats const* GetErrorStats() const = 0;

    CQEL_String const& GetName() const { return m_name; }
    void SetName(CQEL_String const& name) { m_name = name; }
    // Opaque bytes that the host attaches to the entity; the library stores them unread.
    CQEL_Array<unsigned char> const& GetUserMetaData() const { return m_userMetaData; }
    void SetUserMetaData(CQEL_Array<unsigned char> const& bytes) { m_userMetaData = bytes; }

  private:
    virtual CQEL_Type* TypeCopy() const = 0;

    CQEL_String m_name;
    CQEL_Array<unsigned char> m_userMetaData;
};

}  // namespace QEL::Core
