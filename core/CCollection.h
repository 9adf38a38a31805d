// SPDX-License-Identifier: MIT
// CCollection<T>: one per-element array of an entity, kept in lockstep by the
// entity's data manager.
//
// The collection wraps a CQEL_Array<T>. It is constructed on its data manager
// and couples itself to it at once, so an active collection is allocated in
// step during its construction. The number of elements changes only through
// the data manager (CDataManager::CheckSpace, Insert, Remove, ...); the
// collection itself offers element access and its default value, which fills
// every element that the manager's growth creates.
//
// Element access: operator[] follows the array's rule (out of range it yields
// a reference at the invalid address 0xBBADBEEF, so that the first use
// faults); Get, Set and Edit check the index and throw reason 5, parameter
// "index", "Parameter out of range", located at
// "QEL::Core::CCollection<T>::<operation>".
//
// Change flags: the internal variants (CCollection_Internal,
// CCollection_Internal_InBuilt) point the collection at two external flags.
// The data-modified flag is set by every change of the elements (Set, Edit,
// EditAll, element copies, reversal, and every change of size, which changes
// the elements too); the check-space flag is set by every change of the
// number of elements. Flags are set before the change is made, so a change
// that fails half-way still leaves them set. Compact and PreAllocate move the
// elements without changing them and set no flag. A plain CCollection has no
// flags.
//
// A collection is not copyable: it belongs to the manager it was constructed
// on. Its destructor uncouples it. If the manager is destroyed first (or, for
// a collection coupled to it, assigned over), the collection belongs to no
// manager: it can still be read and deactivated, and activating it throws
// reason 30.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "core/CDataManager.h"
#include "core/CQEL_Array.h"
#include "core/CQEL_Array_Errors.h"
#include "core/ICollection.h"
#include "core/QEL_TypeName.h"

namespace QEL::Core {

template <class T>
class CCollection : public ICollection {
  public:
    using value_type = T;

    // Couples the collection to pDataManager and, when active, allocates it in
    // step with the collections already there. Throws reason 0, parameter
    // "pDataManager", for a null manager, and reason 30 "Collection group is
    // full" when the manager holds 32 collections already.
    CCollection(CDataManager* pDataManager, bool active) : m_pDataManager(pDataManager), m_active(active) {
        if (!pDataManager)
            Fail("CCollection", __LINE__, QEL_NULL_PARAMETER, "pDataManager", "Data manager is null");
        pDataManager->CoupleCollection(this);
    }
    ~CCollection() override {
        if (m_pDataManager) m_pDataManager->UncoupleCollection(this);
    }
    CCollection(CCollection const&) = delete;
    CCollection& operator=(CCollection const&) = delete;

    // --- ICollection --------------------------------------------------------------

    void SetActive(bool active) override {
        if (active == m_active) return;
        if (!m_pDataManager) {
            // Orphaned by its manager: it can let go of its storage, but there
            // is nothing to allocate it in step with.
            if (active)
                Fail("SetActive", __LINE__, QEL_INVALID_OPERATION, "pDataManager",
                     "Collection belongs to no data manager");
            Reset();
            m_active = false;
            return;
        }
        m_active = active;
        try {
            m_pDataManager->AllocateCollection(this);
        } catch (...) {
            m_active = !active;
            throw;
        }
    }
    bool IsActive() const override { return m_active; }
    int Count() const override { return m_array.Count(); }
    bool RequiresAllocation(int n) const override { return m_array.RequiresAllocation(n); }

    // --- access ---------------------------------------------------------------------

    // The manager the collection is coupled to; null once that manager is gone.
    CDataManager* GetDataManager() const { return m_pDataManager; }
    CQEL_Array<T> const& GetAsArray() const { return m_array; }
    std::span<T const> GetAll() const { return {m_array.begin(), std::size_t(m_array.Count())}; }

    T const& operator[](int i) const { return m_array[i]; }
    T const& Get(int i) const {
        CheckIndex("Get", __LINE__, i);
        return m_array.Unsafe_Get(i);
    }
    // Assigns value to element i; returns the stored element.
    T& Set(int i, T const& value) {
        CheckIndex("Set", __LINE__, i);
        MarkDataModified();
        T& element = m_array.Unsafe_Get(i);
        element = value;
        return element;
    }
    // Writable element i; counts as a modification.
    T& Edit(int i) {
        CheckIndex("Edit", __LINE__, i);
        MarkDataModified();
        return m_array.Unsafe_Get(i);
    }
    // All elements, writable in place (not resizable); counts as a modification.
    std::span<T> EditAll() {
        MarkDataModified();
        return {m_array.begin(), std::size_t(m_array.Count())};
    }

    // The value of the elements that the manager's growth creates: a
    // value-initialised T unless one is set.
    T GetDefaultValue() const { return m_array.GetDefaultValue(); }
    void SetDefaultValue(T const& value) {
        m_array.SetDefaultValue(value);
        ForgetAppendPlan();
    }
    void ClearDefaultValue() {
        m_array.ClearDefaultValue();
        ForgetAppendPlan();
    }

  protected:
    // --- structural operations (applied by the data manager) ------------------------

    void CheckSpace(int n) override {
        // One element into the back slack is what fill loops do, point by
        // point: no stack frame, no growth rule; anything else is out of line.
        if (n == m_array.Count() + 1 && m_array.HasBackSlack()) [[likely]] {
            MarkSizeChanged();
            m_array.AppendDefault();
            return;
        }
        Resize(n);
    }
    void Insert(int index) override {
        int const n = m_array.Count();
        if (index < 0 || index > n)
            Fail("Insert", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "index", "Parameter out of range");
        MarkSizeChanged();
        m_array.CheckSpace(n + 1);
        if (index < n) {
            // The new default element was made at the back: rotate it into place.
            T* const data = m_array.begin();
            T fill = std::move(data[n]);
            std::move_backward(data + index, data + n, data + n + 1);
            data[index] = std::move(fill);
        }
    }
    void Remove(int index) override {
        int const n = m_array.Count();
        if (index < 0 || index >= n)
            Fail("Remove", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "index", "Parameter out of range");
        MarkSizeChanged();
        T* const data = m_array.begin();
        std::move(data + index + 1, data + n, data + index);
        m_array.PopBack(1);
    }
    void Reverse() override {
        if (m_array.Count() > 1) MarkDataModified();
        m_array.Reverse();
    }
    void Reset() override {
        if (m_array.Count() > 0) MarkSizeChanged();
        m_array.Reset();
    }
    void Compact() override { m_array.Compact(); }
    void PreAllocate(int n) override { m_array.PreAllocate(n); }
    void CopyElement(int to, int from) override {
        CheckIndex("CopyElement", __LINE__, to, "to");
        CheckIndex("CopyElement", __LINE__, from, "from");
        MarkDataModified();
        if (to != from) m_array.Unsafe_Get(to) = m_array.Unsafe_Get(from);
    }
    void CopyElement(int to, int from, ICollection const* source) override {
        CCollection const& other = SameKind(source, "CopyElement", __LINE__);
        CheckIndex("CopyElement", __LINE__, to, "to");
        if (from < 0 || from >= other.m_array.Count())
            Fail("CopyElement", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "from", "Parameter out of range");
        MarkDataModified();
        if (&other != this || to != from) m_array.Unsafe_Get(to) = other.m_array.Unsafe_Get(from);
    }
    void Copy(ICollection const* source) override {
        CCollection const& other = SameKind(source, "Copy", __LINE__);
        if (&other == this) return;
        if (other.m_array.Count() != m_array.Count())
            MarkSizeChanged();
        else if (m_array.Count() > 0)
            MarkDataModified();
        m_array.Copy(other.m_array);
    }
    void AllocateExplicit(int count, int allocate, int offset) override {
        if (count != m_array.Count())
            MarkSizeChanged();
        else if (count > 0)
            MarkDataModified();
        try {
            m_array.AllocateExplicit(count, allocate, offset);
        } catch (...) {
            // A failed allocation leaves the array's fields stale: empty it.
            m_array.Reset();
            throw;
        }
    }
    // Only for this very class: a derived collection may do more on growth.
    bool GetAppendSlot(SAppendSlot& slot) override {
        return typeid(*this) == typeid(CCollection) && DescribeAppend(slot);
    }
    // The slot of appending to m_array as CheckSpace(Count() + 1) does into
    // back slack, for element types that a copy of bytes creates.
    bool DescribeAppend(SAppendSlot& slot) {
        if constexpr (std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(slot.fill)) {
            slot.elementsField = &m_array.DataField();
            slot.count = &m_array.CountField();
            slot.flags[0] = m_pDataModified;
            slot.flags[1] = m_pSizeChanged;
            slot.room = m_array.GetNumAllocated() - m_array.GetMemoryOffset();
            slot.size = std::uint32_t(sizeof(T));
            T fill = m_array.GetDefaultValue();
            Detail::ClearPadding(fill);  // appended elements all carry the same bytes
            std::memcpy(slot.fill, static_cast<void const*>(&fill), sizeof(T));
            return true;
        } else {
            (void)slot;
            return false;
        }
    }
    int GetNumAllocated() const override { return m_array.GetNumAllocated(); }
    int GetMemoryOffset() const override { return m_array.GetMemoryOffset(); }
    std::int64_t GetApproxSize() const override { return m_array.GetAllocatedSize(); }
    bool IsSameKind(ICollection const* other) const override {
        return dynamic_cast<CCollection const*>(other) != nullptr;
    }
    void DataManagerDestroyed(CDataManager const* manager) override {
        if (manager == m_pDataManager) m_pDataManager = nullptr;
    }

    // --- for the variants -------------------------------------------------------------

    void MarkDataModified() noexcept {
        if (m_pDataModified) *m_pDataModified = true;
    }
    void MarkSizeChanged() noexcept {
        MarkDataModified();
        if (m_pSizeChanged) *m_pSizeChanged = true;
    }
    // The elements, writable, for variants that maintain them (no flag is set).
    T* Elements() { return m_array.begin(); }

    [[noreturn]] static void Fail(char const* operation, long line, EQELExceptionReason reason,
                                  char const* paramName, char const* message) {
        Detail::ThrowContainerError({"CCollection", Detail::TypeName<T>(), operation, line}, reason,
                                    paramName, message);
    }

    // To be called when the fill value or a flag changes (GetAppendSlot).
    void ForgetAppendPlan() { ForgetAppendSlots(m_pDataManager); }

    bool* m_pDataModified = nullptr;
    bool* m_pSizeChanged = nullptr;

  private:
    [[gnu::noinline]] void Resize(int n) {
        if (n == m_array.Count()) return;
        MarkSizeChanged();
        m_array.CheckSpace(n);
    }
    void CheckIndex(char const* operation, long line, int i, char const* paramName = "index") const {
        if (i < 0 || i >= m_array.Count())
            Fail(operation, line, QEL_PARAMETER_OUT_OF_RANGE, paramName, "Parameter out of range");
    }
    CCollection const& SameKind(ICollection const* source, char const* operation, long line) const {
        auto const* other = dynamic_cast<CCollection const*>(source);
        if (!other)
            Fail(operation, line, QEL_INVALID_PARAMETER, "source",
                 "Collections hold different element types");
        return *other;
    }

    // The array, final so that its element construction is bound statically
    // on the collection's hot paths.
    class CStorage final : public CQEL_Array<T> {
      public:
        using CQEL_Array<T>::HasBackSlack;
        // One default element into a back slack with room (HasBackSlack).
        void AppendDefault() { this->AddElementInBackSlack(nullptr); }
        using CQEL_Array<T>::CountField;
        using CQEL_Array<T>::DataField;

      protected:
        bool CopiesFillValue() const override { return true; }
    };

    CDataManager* m_pDataManager;
    bool m_active;
    CStorage m_array;
};

}  // namespace QEL::Core
