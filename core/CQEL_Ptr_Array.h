// SPDX-License-Identifier: MIT
// CQEL_Ptr_Array<T>: an owning array of pointers, as the point set keeps its
// sections. Every pointer held is owned: it is deleted when it is removed,
// when the array is cleared and when the array is destroyed, unless it is
// taken out with Detach first. Copies are deep (each element is copied with
// T's copy constructor). Null pointers are refused; a pointer must not be
// added twice (it would be deleted twice). Growth and shrinking follow
// CQEL_Array. Failures are located at "QEL::Core::CQEL_Ptr_Array<T>::<operation>".
#pragma once

#include <memory>

#include "core/CQEL_Array.h"

namespace QEL::Core {

template <class T>
class CQEL_Ptr_Array {
  public:
    CQEL_Ptr_Array() = default;
    CQEL_Ptr_Array(CQEL_Ptr_Array const& other) {
        try {
            CopyFrom(other);
        } catch (...) {
            Clear();  // the destructor does not run for a failed constructor
            throw;
        }
    }
    CQEL_Ptr_Array& operator=(CQEL_Ptr_Array const& other) {
        if (this != &other) {
            CQEL_Ptr_Array copy(other);
            Swap(copy);
        }
        return *this;
    }
    CQEL_Ptr_Array(CQEL_Ptr_Array&& other) noexcept { Swap(other); }
    CQEL_Ptr_Array& operator=(CQEL_Ptr_Array&& other) noexcept {
        if (this != &other) {
            Clear();
            Swap(other);
        }
        return *this;
    }
    ~CQEL_Ptr_Array() { Clear(); }

    int Count() const { return m_items.Count(); }
    bool IsEmpty() const { return m_items.IsEmpty(); }
    // Unchecked in the manner of CQEL_Array::operator[]: outside 0..Count()-1
    // the reference is at the invalid address 0xBBADBEEF, and its first use faults.
    T* const& operator[](int i) const { return m_items[i]; }
    // Checked: an index outside 0..Count()-1 throws reason 5 ("index").
    T& At(int i) const {
        if (i < 0 || i >= m_items.Count()) Fail("At", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "index");
        return *m_items.Unsafe_Get(i);
    }
    // First and last item; an empty array throws reason 0 "Array is empty".
    T& Front() const {
        if (m_items.IsEmpty()) Fail("Front", __LINE__, QEL_NULL_PARAMETER, "", "Array is empty");
        return *m_items.Unsafe_Get(0);
    }
    T& Back() const {
        if (m_items.IsEmpty()) Fail("Back", __LINE__, QEL_NULL_PARAMETER, "", "Array is empty");
        return *m_items.Unsafe_Get(m_items.Count() - 1);
    }

    // Takes ownership of item and appends it; returns it.
    T* Add(T* item) { return InsertAt(m_items.Count(), item); }
    // Takes ownership of item and inserts it before index. A null item throws
    // reason 0 ("item"), an index outside 0..Count() reason 5
    // ("insert_at_index"); the item is deleted when the call throws.
    T* InsertAt(int index, T* item) {
        std::unique_ptr<T> owned(item);
        if (!item) Fail("InsertAt", __LINE__, QEL_NULL_PARAMETER, "item", "Null Pointer");
        if (index < 0 || index > m_items.Count())
            Fail("InsertAt", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "insert_at_index");
        m_items.Insert(index, owned.get());
        return owned.release();
    }
    // Removes the pointer at index (0..Count()-1, else reason 5 "index")
    // without deleting it; the caller owns it.
    T* Detach(int index) {
        if (index < 0 || index >= m_items.Count())
            Fail("Detach", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "index");
        T* item = m_items.Unsafe_Get(index);
        m_items.Remove(index, 1);
        return item;
    }
    // Index of item among the pointers, or -1.
    int Find(T const* item) const {
        for (int i = 0; i < m_items.Count(); ++i)
            if (m_items.Unsafe_Get(i) == item) return i;
        return -1;
    }
    // Deletes the item at index (checked as Detach).
    void Delete(int index) { delete Detach(index); }
    // Deletes every item and releases the storage.
    void Clear() {
        for (T* item : m_items)
            delete item;
        m_items.Reset();
    }
    void Reverse() { m_items.Reverse(); }
    void PreAllocate(int n) { m_items.PreAllocate(n); }
    void Compact() { m_items.Compact(); }
    int GetNumAllocated() const { return m_items.GetNumAllocated(); }

    T* const* begin() const { return m_items.begin(); }
    T* const* end() const { return m_items.end(); }

    void Swap(CQEL_Ptr_Array& other) noexcept { m_items.SwapContents(other.m_items); }

  private:
    [[noreturn]] static void Fail(char const* operation, long line, EQELExceptionReason reason,
                                  char const* paramName, char const* message = "Parameter out of range") {
        Detail::ThrowContainerError({"CQEL_Ptr_Array", Detail::TypeName<T>(), operation, line}, reason,
                                    paramName, message);
    }
    void CopyFrom(CQEL_Ptr_Array const& other) {
        m_items.PreAllocate(other.Count());
        for (T* item : other.m_items)
            Add(new T(*item));
    }

    CQEL_Array<T*> m_items;
};

}  // namespace QEL::Core
