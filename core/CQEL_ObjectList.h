// SPDX-License-Identifier: MIT
// CQEL_ObjectList<T>: an owning list of objects, for readers that make a
// number of entities known only while reading (several triangulations from
// one ".tri" file). The list deletes its objects; Release hands one over.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "core/CQEL_Exception.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

template <class T>
class CQEL_ObjectList {
  public:
    CQEL_ObjectList() = default;
    CQEL_ObjectList(CQEL_ObjectList&&) noexcept = default;
    CQEL_ObjectList& operator=(CQEL_ObjectList&&) noexcept = default;
    CQEL_ObjectList(CQEL_ObjectList const&) = delete;
    CQEL_ObjectList& operator=(CQEL_ObjectList const&) = delete;

    int GetNum() const { return int(m_objects.size()); }
    bool IsEmpty() const { return m_objects.empty(); }

    // The object at index; reason 4 outside 0 .. GetNum() - 1.
    T& Get(int index) { return *m_objects[Checked(index)]; }
    T const& Get(int index) const { return *m_objects[Checked(index)]; }
    T& operator[](int index) { return Get(index); }
    T const& operator[](int index) const { return Get(index); }

    // Takes ownership of object (reason 0 for null) and returns it.
    T& Add(std::unique_ptr<T> object) {
        if (!object) Fail(QEL_NULL_PARAMETER, "QEL::Core::CQEL_ObjectList::Add", __LINE__);
        m_objects.push_back(std::move(object));
        return *m_objects.back();
    }
    // A new default-constructed object at the end.
    T& AddNew() { return Add(std::make_unique<T>()); }
    // Removes the object at index from the list and hands it to the caller.
    std::unique_ptr<T> Release(int index) {
        std::size_t const at = Checked(index);
        std::unique_ptr<T> object = std::move(m_objects[at]);
        m_objects.erase(m_objects.begin() + std::ptrdiff_t(at));
        return object;
    }
    // Deletes the last count objects (all when count >= GetNum()).
    void RemoveLast(int count) {
        while (count-- > 0 && !m_objects.empty())
            m_objects.pop_back();
    }
    void Clear() { m_objects.clear(); }

  private:
    std::size_t Checked(int index) const {
        if (index < 0 || index >= GetNum())
            Fail(QEL_INDEX_OUT_OF_RANGE, "QEL::Core::CQEL_ObjectList::Get", __LINE__);
        return std::size_t(index);
    }

    [[noreturn]] static void Fail(EQELExceptionReason reason, char const* name, long line) {
        throw CQEL_Exception(reason, GetQELExceptionLocation(name, line));
    }

    std::vector<std::unique_ptr<T>> m_objects;
};

}  // namespace QEL::Core
