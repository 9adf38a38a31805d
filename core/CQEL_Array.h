// SPDX-License-Identifier: MIT
// CQEL_Array<T>: the checked, growable array with slack at both ends that
// carries every sequence across the library's interface.
//
// Storage is one allocation of `allocated` slots; the elements in use start
// `offset` slots in (front slack) and run for `count` slots. Growth is
// geometric with factor 1.5; shrinking happens only when fewer than a third of
// the slots stay in use, and never below `minimum` (10) slots. Removing at the
// front only advances the start, so queue-like use costs constant time.
//
// Every operation checks its arguments before changing anything and reports
// misuse as a CQEL_Exception located at "QEL::Core::CQEL_Array<T>::<operation>".
// operator[] is the one unchecked access not named Unsafe: out of range it
// yields a reference at the invalid address 0xBBADBEEF, so that the first use
// faults (and is translated into reason 34 on a thread with the fault translator).
//
// Trivially copyable element types are moved with plain memory copies, and
// their storage grows and shrinks at the back by resizing its block, in place
// where the allocator can (the slot counts are those above). Other types are
// constructed, moved and destroyed in place.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "core/CQEL_Allocate.h"
#include "core/CQEL_Array_Errors.h"
#include "core/CQEL_MD5.h"
#include "core/QEL_TypeName.h"
#include "core/CQEL_Stream.h"

namespace QEL::Core {

namespace Detail {
QEL_API void ArrayDebugOut(int count);
inline constexpr std::uintptr_t kInvalidAddress = 0xBBADBEEF;

// Sets the padding bytes of a plain value to zero (where the compiler can),
// so that copies of one value carry the same bytes: a copy need not carry
// the padding of its source.
template <class T>
void ClearPadding(T& value) {
#if defined(__has_builtin)
#if __has_builtin(__builtin_clear_padding)
    __builtin_clear_padding(&value);
#endif
#endif
    (void)value;
}
}  // namespace Detail

template <class T>
class CQEL_Array {
  public:
    using value_type = T;

    // An empty array holds no storage.
    CQEL_Array() { Init(); }
    // n value-initialised (or default-valued) elements; n < 0 throws reason 4.
    explicit CQEL_Array(int n) {
        Init();
        CheckSpace(n);
    }
    // Copies of values[0..n-1] (see Copy).
    CQEL_Array(int n, T const* values) {
        Init();
        Copy(n, values);
    }
    // Copies the elements (not the default value; the minimum is 10).
    CQEL_Array(CQEL_Array const& other) {
        Init();
        Copy(other);
    }
    CQEL_Array& operator=(CQEL_Array const& other) {
        Copy(other);
        return *this;
    }
    // Takes other's storage (and default value) in constant time; other is left
    // as a new array.
    CQEL_Array(CQEL_Array&& other) noexcept {
        Init();
        SwapContents(other);
    }
    CQEL_Array& operator=(CQEL_Array&& other) noexcept {
        if (this != &other) {
            Free();
            ClearDefaultValue();
            Init();
            SwapContents(other);
        }
        return *this;
    }
    virtual ~CQEL_Array() {
        Free();
        ClearDefaultValue();
    }

    // --- whole array --------------------------------------------------------

    // Destroys the elements and releases the storage; minimum back to 10.
    void Reset() {
        Free();
        Init();
    }
    // Destroys the elements but keeps the storage (offset back to 0).
    void Clear() {
        DestroyElements(m_data, m_count);
        m_data = m_base;
        m_count = 0;
    }
    // Moves the elements into storage of exactly Count() slots (none when empty).
    void Compact() {
        if (m_allocated != m_count) Relocate(m_count);
    }
    // n must not be negative (reason 4 from CheckSpace); values may be null only
    // when n is 0 (else reason 0, "values"). values may point into this array.
    void Copy(int n, T const* values) {
        if (n > 0 && !values) Fail("Copy", __LINE__, QEL_NULL_PARAMETER, "values", "Null Pointer");
        if (n > 0 && Holds(values)) {
            CQEL_Array const copy(n, values);  // our storage may move
            Copy(copy);
            return;
        }
        CheckSpace(n);
        AssignRange(m_data, values, n);
    }
    // Makes this array a copy of other's elements.
    void Copy(CQEL_Array const& other) {
        if (&other == this) return;
        Copy(other.m_count, other.m_data);
    }
    // Assigns value to every element in use (value may be one of them).
    void Set(T const& value) {
        T const fill = value;
        for (int i = 0; i < m_count; ++i)
            m_data[i] = fill;
    }
    // This array's elements followed by other's (other may be this array).
    CQEL_Array operator+(CQEL_Array const& other) const {
        CQEL_Array sum(*this);
        sum += other;
        return sum;
    }
    CQEL_Array& operator+=(CQEL_Array const& other) {
        int const first = m_count, n = other.m_count;
        CheckSpace(first + n);
        // other may be this array: its elements are the first n of ours.
        AssignRange(m_data + first, &other == this ? m_data : other.m_data, n);
        return *this;
    }
    // Equal counts and bytewise equal element storage (a raw memory comparison,
    // meant for plain element types; not element-wise ==).
    bool operator==(CQEL_Array const& other) const {
        if (m_count != other.m_count) return false;
        return m_count == 0 || std::memcmp(m_data, other.m_data, std::size_t(m_count) * sizeof(T)) == 0;
    }
    bool operator!=(CQEL_Array const& other) const { return !(*this == other); }

    // Exchanges storage, counts and default values with other in constant time.
    void SwapContents(CQEL_Array& other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_count, other.m_count);
        std::swap(m_allocated, other.m_allocated);
        std::swap(m_base, other.m_base);
        std::swap(m_room, other.m_room);
        std::swap(m_minimum, other.m_minimum);
        std::swap(m_shrinkBelow, other.m_shrinkBelow);
        std::swap(m_default, other.m_default);
    }

    // --- size and access ----------------------------------------------------

    int Count() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }
    int ElementSize() const { return int(sizeof(T)); }
    std::int64_t TotalSize() const { return std::int64_t(m_count) * std::int64_t(sizeof(T)); }
    std::int64_t GetAllocatedSize() const { return std::int64_t(m_allocated) * std::int64_t(sizeof(T)); }
    int GetNumAllocated() const { return m_allocated; }
    int GetMemoryOffset() const { return Offset(); }

    // Whether making the count n would allocate: n does not fit from the first
    // element to the end of the storage, or shrinking to n would be triggered.
    bool RequiresAllocation(int n) const { return n > m_allocated - Offset() || CanPerformDownSizing(n); }
    // Whether removing down to n elements shrinks the storage: n < count,
    // more than `minimum` slots, and n below a third of the slots.
    bool CanPerformDownSizing(int n) const {
        return n < m_count && m_allocated > m_minimum && n < m_allocated / 3;
    }
    // Whether n elements could be made to fit by moving the elements to the
    // start of the storage: n < slots and a front slack above a third of them.
    bool CanPerformOffset(int n) const { return n < m_allocated && Offset() > m_allocated / 3; }

    // Unchecked access that never throws: for i outside 0..Count()-1 the
    // reference is at the invalid address 0xBBADBEEF, so that its first use
    // faults. The invalid address is deliberate: the sanitizers must not report
    // the binding, only the use.
    __attribute__((no_sanitize("alignment"))) T& operator[](int i) {
        if (unsigned(i) >= unsigned(m_count)) return *reinterpret_cast<T*>(Detail::kInvalidAddress);
        return m_data[i];
    }
    __attribute__((no_sanitize("alignment"))) T const& operator[](int i) const {
        if (unsigned(i) >= unsigned(m_count)) return *reinterpret_cast<T const*>(Detail::kInvalidAddress);
        return m_data[i];
    }
    // No test at all.
    T& Unsafe_Get(int i) { return m_data[i]; }
    T const& Unsafe_Get(int i) const { return m_data[i]; }

    // The first element's address; GetArray, Front and Back throw reason 0
    // "Array is empty" on an empty array.
    T* GetArray() {
        RequireElements("GetArray", __LINE__);
        return m_data;
    }
    T const* GetArray() const {
        RequireElements("GetArray", __LINE__);
        return m_data;
    }
    T& Front() {
        RequireElements("Front", __LINE__);
        return m_data[0];
    }
    T const& Front() const {
        RequireElements("Front", __LINE__);
        return m_data[0];
    }
    T& Back() {
        RequireElements("Back", __LINE__);
        return m_data[m_count - 1];
    }
    T const& Back() const {
        RequireElements("Back", __LINE__);
        return m_data[m_count - 1];
    }
    // Index of an element given by reference, from its address; an address
    // outside the elements in use throws reason 5 ("index").
    int GetIndex(T const& element) const {
        if (!Holds(&element))
            Fail("GetIndex", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "index", "Parameter out of range");
        return int(&element - m_data);
    }

    // Iteration over the elements in use (not part of the checked interface).
    T* begin() { return m_data; }
    T* end() { return m_data + m_count; }
    T const* begin() const { return m_data; }
    T const* end() const { return m_data + m_count; }

    // The value new elements get when no value is given (a value-initialised T
    // when none is set). The first SetDefaultValue allocates it.
    T GetDefaultValue() const { return m_default ? *m_default : T(); }
    void SetDefaultValue(T const& value) {
        if (m_default)
            *m_default = value;
        else
            m_default = new T(value);
    }
    void ClearDefaultValue() {
        delete m_default;
        m_default = nullptr;
    }

    // Writes "Number of elements in array: <count>" to the debug output channel.
    void DebugOut() const { Detail::ArrayDebugOut(m_count); }

    // --- growing and shrinking ------------------------------------------------

    // Makes Count() equal to n, adding default elements or removing at the
    // back; n < 0 throws reason 4 with no parameter name.
    void CheckSpace(int n) {
        if (n < 0) Fail("CheckSpace", __LINE__, QEL_INDEX_OUT_OF_RANGE);
        if (n > m_count)
            AddElements_Back(n - m_count, nullptr);
        else if (n < m_count)
            RemoveElements_Back(m_count - n);
    }
    // Ensures that n elements fit between the first element and the end of the
    // storage: by moving the elements to the start when the front slack is
    // above a third of the slots and n < slots, else into new storage of
    // exactly n slots. Nothing changes when n already fits.
    void PreAllocate(int n) {
        if (n <= m_allocated - Offset()) return;
        if (n < m_allocated && Offset() > m_allocated / 3)
            MoveToStart();
        else
            Relocate(n);
    }
    // Replaces the contents by `count` default elements placed `offset` slots
    // into new storage of exactly `allocate` slots. A negative argument throws
    // reason 14 (no parameter name); count + offset > allocate throws reason 14
    // ("new_num_allocate").
    void AllocateExplicit(int count, int allocate, int offset) {
        if (count < 0 || allocate < 0 || offset < 0)
            Fail("AllocateExplicit", __LINE__, QEL_INVALID_PARAMETER, "",
                 "One of the input parameter is less than 0.");
        if (std::int64_t(count) + offset > allocate)
            Fail("AllocateExplicit", __LINE__, QEL_INVALID_PARAMETER, "new_num_allocate",
                 "Sum of new number of elements and offset is greater than new number of elements to "
                 "allocate.");
        bool const zeroed = count > 0 && FillIsZeroBytes(nullptr);
        T* const base = zeroed ? AllocateZeroed(allocate) : Allocate(allocate);  // before anything changes
        Free();
        m_data = base ? base + offset : nullptr;
        m_allocated = allocate;
        UpdateShrinkThreshold();
        m_base = base;
        m_room = 0;
        m_count = 0;
        if (!zeroed) CreateElements(m_data, count, nullptr);
        m_count = count;
    }

    // n copies of value at the back (front); value may be one of the elements.
    // n < 0 throws reason 5. Amortised constant time per element.
    void PushBack(T const& value, int n = 1) { AddElements_Back(n, &value); }
    void PushFront(T const& value, int n = 1) { AddElements_Front(n, &value); }
    // Removes n elements at the back (front); n outside 0..Count() throws
    // reason 5 ("num_elements_to_remove"). PopFront does not move the
    // remaining elements unless the storage shrinks.
    void PopBack(int n = 1) { RemoveElements_Back(n); }
    void PopFront(int n = 1) { RemoveElements_Front(n); }

    // Adds one default element at the back and returns it.
    T& New() {
        CheckSpace(m_count + 1);
        return Back();
    }
    // A copy of the last (first) element, which is removed; an empty array
    // throws reason 0 "Array is empty".
    T GetBackAndPop() {
        T value = Back();
        PopBack(1);
        return value;
    }
    T GetFrontAndPop() {
        T value = Front();
        PopFront(1);
        return value;
    }

    // Inserts before index (0..Count(), else reason 5 "insert_at_index").
    void Insert(int index, T const& value) {
        if (index < 0 || index > m_count)
            Fail("Insert", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "insert_at_index", "Parameter out of range");
        T const copy = value;  // value may be one of our elements
        CheckSpace(m_count + 1);
        MoveUp(index, 1);
        m_data[index] = copy;
    }
    void Insert(int index, CQEL_Array const& other) {
        if (index < 0 || index > m_count)
            Fail("Insert", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "insert_at_index", "Parameter out of range");
        if (&other == this) {
            CQEL_Array const copy(other);
            Insert(index, copy);
            return;
        }
        int const n = other.m_count;
        CheckSpace(m_count + n);
        MoveUp(index, n);
        AssignRange(m_data + index, other.m_data, n);
    }
    // Removes n elements from index. index < 0, n < 0 or index + n > Count()
    // throws reason 4 "Indices are invalid to perform removal" (a negative n is
    // refused here, before anything moves).
    void Remove(int index, int n = 1) {
        if (index < 0 || n < 0 || std::int64_t(index) + n > m_count)
            Fail("Remove", __LINE__, QEL_INDEX_OUT_OF_RANGE, "", "Indices are invalid to perform removal");
        if (n == 0) return;  // nothing to move (and no element moved onto itself)
        for (int i = index; i + n < m_count; ++i)
            m_data[i] = std::move(m_data[i + n]);
        RemoveElements_Back(n);
    }
    // A new array of the n elements from start. start < 0 or start + n >
    // Count() throws reason 4; a negative n throws reason 4 from CheckSpace.
    CQEL_Array Extract(int start, int n) const {
        if (start < 0 || std::int64_t(start) + n > m_count)
            Fail("Extract", __LINE__, QEL_INDEX_OUT_OF_RANGE, "",
                 "Indices are invalid to perform extraction");
        CQEL_Array part;
        part.CheckSpace(n);
        AssignRange(part.m_data, m_data + start, n);
        return part;
    }
    // Exchanges two elements; i (tested first) or j outside 0..Count()-1 throws
    // reason 5 ("index1", "index2").
    void Swap(int i, int j) {
        if (i < 0 || i >= m_count)
            Fail("Swap", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "index1", "Parameter out of range");
        if (j < 0 || j >= m_count)
            Fail("Swap", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "index2", "Parameter out of range");
        using std::swap;
        swap(m_data[i], m_data[j]);
    }
    void Reverse() {
        using std::swap;
        for (int i = 0, j = m_count - 1; i < j; ++i, --j)
            swap(m_data[i], m_data[j]);
    }
    // Unstable sort by a less-than or a three-way comparison (negative: less).
    void SortUsing(bool (*less)(T const&, T const&)) {
        if (m_count >= 2) std::sort(m_data, m_data + m_count, less);
    }
    void SortUsing(int (*compare)(T const&, T const&)) {
        if (m_count >= 2)
            std::sort(m_data, m_data + m_count,
                      [compare](T const& a, T const& b) { return compare(a, b) < 0; });
    }

    // --- serialisation and digest ---------------------------------------------

    // A 4-byte little-endian count, then the raw bytes of the elements.
    bool Export(CQEL_Stream& stream) const {
        static_assert(std::is_trivially_copyable_v<T>, "raw export is for plain element types");
        stream.PutValue<std::int32_t>(m_count);
        if (m_count > 0) stream.Put(m_data, TotalSize());
        return true;
    }
    // Reads what Export wrote. A count of 1,000,000,000 or more, or one whose
    // elements the stream does not hold, throws reason 23 before anything is
    // allocated; a negative count throws reason 4 from CheckSpace.
    bool Import(CQEL_Stream& stream) {
        static_assert(std::is_trivially_copyable_v<T>, "raw import is for plain element types");
        std::int32_t const n = stream.GetValue<std::int32_t>();
        if (n >= 1000000000) Fail("Import", __LINE__, QEL_FILE_READ_ERROR);
        if (n > 0 && std::int64_t(n) * std::int64_t(sizeof(T)) > stream.RemainingBytes())
            Fail("Import", __LINE__, QEL_FILE_READ_ERROR, "", "Stream holds fewer elements than its count");
        CheckSpace(n);
        if (n > 0) stream.Get(m_data, TotalSize());
        return true;
    }
    sMD5CheckSumValue GetCRC() const {
        static_assert(std::is_trivially_copyable_v<T>, "raw digest is for plain element types");
        return CQEL_MD5::Compute(m_data, std::size_t(TotalSize()));
    }

  protected:
    // Constructs n copies of the fill value at destination: *source if given,
    // else the default value if one is set, else a value-initialised T.
    virtual void CreateElements(T* destination, int n, T const* source) {
        if (n <= 0) return;
        T const* fill = source ? source : m_default;
        if constexpr (std::is_trivially_copyable_v<T>) {
            T const value = fill ? *fill : T();
            for (int i = 0; i < n; ++i)
                destination[i] = value;
        } else {
            int i = 0;
            try {
                for (; i < n; ++i) {
                    if (fill)
                        ::new (static_cast<void*>(destination + i)) T(*fill);
                    else
                        ::new (static_cast<void*>(destination + i)) T();
                }
            } catch (...) {
                DestroyRange(destination, i);
                throw;
            }
        }
    }
    virtual void DestroyElements(T* first, int n) { DestroyRange(first, n); }
    // Whether CreateElements is the one above, so that growth may take zeroed
    // storage in place of writing zero fill values. A derived array says so by
    // overriding this; one that does not always has its elements constructed.
    virtual bool CopiesFillValue() const { return typeid(*this) == typeid(CQEL_Array); }

    // Relocates n elements; the ranges may overlap.
    static void ShiftElements(T* from, T* to, int n) {
        if (n <= 0 || from == to) return;
        if constexpr (std::is_trivially_copyable_v<T>) {
            std::memmove(static_cast<void*>(to), static_cast<void const*>(from), std::size_t(n) * sizeof(T));
        } else if (to < from) {
            for (int i = 0; i < n; ++i) {
                ::new (static_cast<void*>(to + i)) T(std::move(from[i]));
                from[i].~T();
            }
        } else {
            for (int i = n - 1; i >= 0; --i) {
                ::new (static_cast<void*>(to + i)) T(std::move(from[i]));
                from[i].~T();
            }
        }
    }

    // Whether one more element fits after the last without moving anything.
    bool HasBackSlack() const { return m_count + Offset() < m_allocated; }
    // The count itself, for storage whose owner appends elements in place
    // (CCollection and its data manager).
    int& CountField() { return m_count; }
    // The pointer to element 0 itself, which moves when the storage does.
    T* const& DataField() const { return m_data; }
    // One element, filled as by CreateElements, into a back slack that the
    // caller has found to have room (HasBackSlack).
    void AddElementInBackSlack(T const* source) {
        CreateElements(m_data + m_count, 1, source);
        ++m_count;
    }
    // Adding at the back: into the back slack when it is large enough (the
    // inline fast path), else see GrowBack.
    void AddElements_Back(int n, T const* source) {
        if (n > 0 && n <= m_allocated - m_count - Offset()) [[likely]] {
            CreateElements(m_data + m_count, n, source);
            m_count += n;
            return;
        }
        GrowBack(n, source);
    }
    // Adding at the front: into the front slack when it is large enough (the
    // inline fast path), else see GrowFront.
    void AddElements_Front(int n, T const* source) {
        if (n > 0 && n <= Offset()) [[likely]] {
            CreateElements(m_data - n, n, source);
            m_data -= n;
            m_count += n;
            return;
        }
        GrowFront(n, source);
    }
    // Removing: in place (the inline fast path) unless the storage is due to
    // shrink; checks, shrinking and n == 0 are left to the cold paths.
    void RemoveElements_Back(int n) {
        if (n > 0 && n <= m_count && !ShrinkDue(m_count - n)) [[likely]] {
            int const remaining = m_count - n;
            DestroyElements(m_data + remaining, n);
            m_count = remaining;
            return;
        }
        ShrinkBack(n);
    }
    void RemoveElements_Front(int n) {
        if (n > 0 && n <= m_count && !ShrinkDue(m_count - n)) [[likely]] {
            int const remaining = m_count - n;
            DestroyElements(m_data, n);
            m_data += n;
            m_count = remaining;
            return;
        }
        ShrinkFront(n);
    }

    // Moves the elements into new storage, adding delta elements (filled from
    // source) or removing -delta, at the back or at the front.
    void ReAllocate(int delta, bool atBack, T const* source) {
        // Counts are int: more elements than an int can count is an allocation failure.
        if (std::int64_t(m_count) + delta > std::numeric_limits<int>::max())
            throw std::bad_array_new_length();
        int const newCount = m_count + delta;
        int const newAllocated = delta > 0 ? std::max(OneAndAHalf(m_allocated), newCount)
                                           : std::max(OneAndAHalf(newCount), m_minimum);
        if constexpr (std::is_trivially_copyable_v<T>) {
            if (delta > 0 && atBack && Offset() == 0 && m_count > 0) {
                // Plain elements at the start of their storage: extend the
                // block, in place where the allocator can. The fill value may
                // lie in the block, so it is read first.
                if (source) {
                    T const value(*source);
                    ExtendAtBack(delta, newAllocated, &value);
                } else {
                    ExtendAtBack(delta, newAllocated, nullptr);
                }
                return;
            }
            if (delta < 0 && atBack) {
                // Plain elements shrinking at the back stay in their block,
                // which is then made smaller: usually nothing is copied. At the
                // front the remaining elements move anyway, so they go to fresh
                // storage: made smaller in place, the block would hand its
                // pages back to the system at every shrink of a drained queue.
                T* const base = m_base;
                DestroyElements(m_data + newCount, -delta);
                if (newCount > 0 && Offset() > 0)
                    std::memmove(static_cast<void*>(base), static_cast<void const*>(m_data),
                                 std::size_t(newCount) * sizeof(T));
                m_data = m_base = base;
                m_count = newCount;
                m_room = 0;
                try {
                    m_data = m_base = static_cast<T*>(
                        CQEL_Allocate::ReAllocateMemory(base, std::size_t(newAllocated) * sizeof(T)));
                    m_allocated = newAllocated;
                    UpdateShrinkThreshold();
                } catch (std::bad_alloc const&) {
                    // A block that cannot be made smaller stays as it is.
                }
                return;
            }
        }
        bool const zeroed = delta > 0 && m_count == 0 && FillIsZeroBytes(source);
        // Plain elements growing from nothing grow next in their block
        // (ExtendAtBack), which is then given room to grow into.
        std::size_t room = 0;
        T* const fresh = std::is_trivially_copyable_v<T> && delta > 0 && m_count == 0 && atBack
                             ? static_cast<T*>(CQEL_Allocate::AllocateGrowingMemory(
                                   std::size_t(newAllocated) * sizeof(T), zeroed, &room))
                         : zeroed ? AllocateZeroed(newAllocated)
                                  : Allocate(newAllocated);
        if (delta > 0) {
            // Construct first: source may lie in the old storage.
            try {
                if (!zeroed) CreateElements(atBack ? fresh + m_count : fresh, delta, source);
            } catch (...) {
                CQEL_Allocate::DeAllocateMemory(fresh);
                throw;
            }
            ShiftElements(m_data, atBack ? fresh : fresh + delta, m_count);
        } else if (atBack) {
            DestroyElements(m_data + newCount, -delta);
            ShiftElements(m_data, fresh, newCount);
        } else {
            DestroyElements(m_data, -delta);
            ShiftElements(m_data - delta, fresh, newCount);
        }
        if (m_data) CQEL_Allocate::DeAllocateMemory(m_base);
        m_data = fresh;
        m_base = m_data;
        m_room = RoomSlots(room);
        m_allocated = newAllocated;
        UpdateShrinkThreshold();
        m_count = newCount;
    }

  private:
    // Back slack too small. When the front slack exceeds a third of the storage
    // and the grown array still leaves a slot free, the elements move to the
    // start of the storage (no allocation); else new storage.
    [[gnu::noinline]] void GrowBack(int n, T const* source) {
        if (n < 0)
            Fail("AddElements_Back", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "",
                 "Number of elements to add is negative");
        if (n == 0) return;
        if (n < m_allocated - m_count && Offset() > m_allocated / 3) {
            if (Holds(source)) {
                // The fill value is one of the moved elements: it follows its
                // element, except the first element itself, which is not
                // followed and yields what the compaction leaves at its old
                // address (element `offset` when there is one). The value is
                // taken before the move, so no destroyed element is read.
                T const value(source == m_data && Offset() < m_count ? m_data[Offset()] : *source);
                MoveToStart();
                CreateElements(m_data + m_count, n, &value);
            } else {
                MoveToStart();
                CreateElements(m_data + m_count, n, source);
            }
            m_count += n;
        } else {
            ReAllocate(n, true, source);
        }
    }
    // Front slack too small. When the back slack is large enough, the elements
    // move up so that n fit in front of them (no allocation); else new storage.
    // The front uses back slack whenever there is enough, unlike the back.
    [[gnu::noinline]] void GrowFront(int n, T const* source) {
        if (n < 0)
            Fail("AddElements_Front", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "",
                 "Number of elements to add is negative");
        if (n == 0) return;
        if (m_allocated - m_count - Offset() >= n) {
            T* const base = m_base;
            if (Holds(source)) {
                T const value(*source);  // taken before its element moves
                ShiftElements(m_data, base + n, m_count);
                CreateElements(base, n, &value);
            } else {
                ShiftElements(m_data, base + n, m_count);
                CreateElements(base, n, source);
            }
            m_data = base;
            m_base = m_data;
            m_count += n;
        } else {
            ReAllocate(n, false, source);
        }
    }
    // Whether removing down to `remaining` elements (0 <= remaining < count)
    // shrinks the storage: more than `minimum` slots and remaining below a
    // third of them, i.e. remaining < floor(allocated / 3). The bound is kept
    // as one number, refreshed whenever the slots change, so that the removal
    // fast path compares once.
    bool ShrinkDue(int remaining) const { return remaining < m_shrinkBelow; }
    void UpdateShrinkThreshold() { m_shrinkBelow = m_allocated > m_minimum ? m_allocated / 3 : 0; }
    [[gnu::noinline]] void ShrinkBack(int n) {
        if (n < 0 || n > m_count)
            Fail("RemoveElements_Back", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "num_elements_to_remove",
                 "Parameter out of range");
        if (n > 0) ReAllocate(-n, true, nullptr);
    }
    [[gnu::noinline]] void ShrinkFront(int n) {
        if (n < 0 || n > m_count)
            Fail("RemoveElements_Front", __LINE__, QEL_PARAMETER_OUT_OF_RANGE, "num_elements_to_remove",
                 "Parameter out of range");
        if (n > 0) ReAllocate(-n, false, nullptr);
    }
    void ExtendAtBack(int delta, int newAllocated, T const* source) {
        if (newAllocated > m_room) {
            std::size_t room = 0;
            m_data = m_base = static_cast<T*>(
                CQEL_Allocate::ReAllocateMemory(m_data, std::size_t(newAllocated) * sizeof(T), &room));
            m_room = RoomSlots(room);
        }
        m_allocated = newAllocated;
        UpdateShrinkThreshold();
        CreateElements(m_data + m_count, delta, source);
        m_count += delta;
    }
    int Offset() const { return int(m_data - m_base); }
    static int RoomSlots(std::size_t bytes) {
        return int(std::min(bytes / sizeof(T), std::size_t(std::numeric_limits<int>::max())));
    }
    // n * 1.5 rounded down (n >= 0), at most the largest int: the growth
    // factor, in integers, which are exact and quicker than a double.
    static int OneAndAHalf(int n) {
        return int(std::min(std::int64_t(n) + n / 2, std::int64_t(std::numeric_limits<int>::max())));
    }
    // Whether p points at one of the elements in use.
    bool Holds(T const* p) const {
        return p && !std::less<>()(p, m_data) && std::less<>()(p, m_data + m_count);
    }

    void Init() {
        m_minimum = 10;
        m_data = nullptr;
        m_count = 0;
        m_allocated = 0;
        UpdateShrinkThreshold();
        m_base = nullptr;
        m_room = 0;
    }
    void Free() {
        if (!m_data) return;
        DestroyElements(m_data, m_count);
        CQEL_Allocate::DeAllocateMemory(m_base);
        m_data = m_base = nullptr;
        m_room = 0;
    }
    static T* Allocate(int slots) {
        return static_cast<T*>(CQEL_Allocate::AllocateMemory(std::size_t(slots) * sizeof(T)));
    }
    static T* AllocateZeroed(int slots) {
        return static_cast<T*>(CQEL_Allocate::AllocateZeroedMemory(std::size_t(slots) * sizeof(T)));
    }
    // Whether elements made by CreateElements from source would be all zero
    // bytes, so that zeroed storage holds them already: plain elements whose
    // fill value is zero bytes, in an array whose element construction is the
    // one of this class (CopiesFillValue). Growing a large array from nothing
    // then leaves its pages untouched until they are filled. Padding that is
    // not zero only costs the shortcut.
    bool FillIsZeroBytes(T const* source) const {
        if constexpr (std::is_trivially_copyable_v<T>) {
            if (!CopiesFillValue()) return false;
            T const* const fill = source ? source : m_default;
            T value = fill ? *fill : T();
            Detail::ClearPadding(value);
            static constexpr unsigned char kZeros[sizeof(T)] = {};
            return std::memcmp(static_cast<void const*>(&value), kZeros, sizeof(T)) == 0;
        } else {
            (void)source;
            return false;
        }
    }
    static void DestroyRange(T* first, int n) {
        if constexpr (!std::is_trivially_destructible_v<T>)
            for (int i = 0; i < n; ++i)
                first[i].~T();
    }
    static void AssignRange(T* to, T const* from, int n) {
        if (n <= 0 || to == from) return;
        if constexpr (std::is_trivially_copyable_v<T>)
            std::memmove(static_cast<void*>(to), static_cast<void const*>(from), std::size_t(n) * sizeof(T));
        else
            for (int i = 0; i < n; ++i)
                to[i] = from[i];
    }
    // Opens a gap of n slots at index; the last n slots hold freshly added elements.
    void MoveUp(int index, int n) {
        if (n == 0) return;  // a self-move would empty owning elements
        for (int i = m_count - 1; i >= index + n; --i)
            m_data[i] = std::move(m_data[i - n]);
    }
    // Moves the elements to the start of the storage.
    void MoveToStart() {
        T* const base = m_base;
        ShiftElements(m_data, base, m_count);
        m_data = base;
        m_base = m_data;
    }
    // Moves the elements into new storage of exactly slots slots (>= count).
    void Relocate(int slots) {
        T* const fresh = Allocate(slots);
        ShiftElements(m_data, fresh, m_count);
        if (m_data) CQEL_Allocate::DeAllocateMemory(m_base);
        m_data = fresh;
        m_base = m_data;
        m_room = 0;
        m_allocated = slots;
        UpdateShrinkThreshold();
    }
    void RequireElements(char const* operation, long line) const {
        if (m_count == 0) Fail(operation, line, QEL_NULL_PARAMETER, "", "Array is empty");
    }
    [[noreturn]] static void Fail(char const* operation, long line, EQELExceptionReason reason) {
        Detail::ThrowContainerError({"CQEL_Array", Detail::TypeName<T>(), operation, line}, reason);
    }
    [[noreturn]] static void Fail(char const* operation, long line, EQELExceptionReason reason,
                                  char const* paramName, char const* message) {
        Detail::ThrowContainerError({"CQEL_Array", Detail::TypeName<T>(), operation, line}, reason, paramName,
                                    message);
    }

    T* m_data;
    int m_count;
    int m_allocated;
    // Start of the storage (null without storage): the front slack is
    // m_data - m_base, so that removing at the front moves one pointer.
    T* m_base;
    int m_minimum;
    int m_shrinkBelow;  // see ShrinkDue
    // Slots that the storage holds as far as known (0: not known), which may
    // be more than m_allocated: growth at the back within them needs no call
    // to the allocator. Known only after growth at the back; whatever else
    // replaces the storage makes it unknown.
    int m_room = 0;
    T* m_default = nullptr;
};

}  // namespace QEL::Core
