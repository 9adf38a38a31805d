// SPDX-License-Identifier: MIT
// CCollection_Internal<T>: a collection of an entity's own data, reporting its
// changes through two flags that the entity owns.
//
// The data-modified flag is set to true whenever the elements change (through
// Set, Edit, EditAll, element copies, reversal, or any change of size); the
// check-space flag whenever the number of elements changes. The collection
// only ever sets the flags; the entity clears them when it has taken note
// (typically the flag is a CCache_Flag's, whose Validate() clears it and
// invalidates what was derived from the data). A null pointer, the state on
// construction, means no flag.
//
// The flags must outlive the collection, or be replaced by null first.
#pragma once

#include <typeinfo>

#include "core/CCollection.h"

namespace QEL::Core {

template <class T>
class CCollection_Internal : public CCollection<T> {
  public:
    // As CCollection<T>: couples to pDataManager, allocated in step when active.
    CCollection_Internal(CDataManager* pDataManager, bool active) : CCollection<T>(pDataManager, active) {}

    // flag (may be null) is set to true whenever the elements change.
    void SetDataModifiedFlag(bool* flag) {
        this->m_pDataModified = flag;
        this->ForgetAppendPlan();
        DataModifiedFlagChanged();
    }
    // flag (may be null) is set to true whenever the number of elements changes.
    void SetCheckSpaceFlag(bool* flag) {
        this->m_pSizeChanged = flag;
        this->ForgetAppendPlan();
    }

    bool* GetDataModifiedFlag() const { return this->m_pDataModified; }
    bool* GetCheckSpaceFlag() const { return this->m_pSizeChanged; }

  protected:
    // Hook for variants whose elements carry the flag themselves.
    virtual void DataModifiedFlagChanged() {}
    // As for CCollection: only for this very class.
    bool GetAppendSlot(ICollection::SAppendSlot& slot) override {
        return typeid(*this) == typeid(CCollection_Internal) && this->DescribeAppend(slot);
    }
};

}  // namespace QEL::Core
