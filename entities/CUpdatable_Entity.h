// SPDX-License-Identifier: MIT
// CUpdatable_Entity: an element stored inside an entity that tells its owner
// when it changes.
//
// The owner binds each element to one of its modified flags (a
// CCache_Flag's GetFlag()); the element's marking setters set that flag, so
// that the owner's derived data are recomputed on next request. The binding
// belongs to the storage slot, not to the value: copying an element gives an
// unbound element, and assigning to a bound element keeps its binding and
// marks it. An unbound element (a loose value) marks nothing. The owner
// rebinds its elements after every structural change of its array.
#pragma once

namespace QEL::Core {

class CUpdatable_Entity {
  public:
    constexpr CUpdatable_Entity() = default;
    constexpr CUpdatable_Entity(CUpdatable_Entity const&) : m_flag(nullptr) {}
    constexpr CUpdatable_Entity& operator=(CUpdatable_Entity const&) {
        MarkModified();
        return *this;
    }

    // Sets the owner's flag, if bound.
    constexpr void MarkModified() const {
        if (m_flag) *m_flag = true;
    }
    constexpr void BindModifiedFlag(bool* flag) { m_flag = flag; }
    constexpr bool IsBound() const { return m_flag != nullptr; }

  protected:
    ~CUpdatable_Entity() = default;

  private:
    bool* m_flag = nullptr;
};

}  // namespace QEL::Core
