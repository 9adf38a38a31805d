// SPDX-License-Identifier: MIT
#include "formats/CQEL_ObjectCreators.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/CQEL_Operation.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CPointSet.h"
#include "entities/CTriangulation.h"
#include "formats/CQELParser.h"
#include "formats/IObjectCreator.h"
#include "formats/QEL_ContainerLayout.h"

namespace QEL::Core {

SLibraryObjectCreator const* GetLibraryObjectCreators(int& count) {
    // The creators live as long as the process: never destroyed, never unregistered by exit.
    static SLibraryObjectCreator const table[] = {
        {CPointSet::kClassGUID, new CObjectCreator<CPointSet>},
        {CTriangulation::kClassGUID, new CObjectCreator<CTriangulation>},
        {CNURBS_Curve::kClassGUID, new CObjectCreator<CNURBS_Curve>},
    };
    count = int(std::size(table));
    return table;
}

namespace {

struct SCreatorTable {
    std::mutex lock;
    std::vector<std::pair<std::string, IObjectCreator*>> pairs;
};

SCreatorTable& Creators() {
    // Leaked on purpose: creators destroyed during process exit still unregister here.
    static SCreatorTable* const table = [] {
        auto* made = new SCreatorTable;
        int count = 0;
        SLibraryObjectCreator const* entries = GetLibraryObjectCreators(count);
        for (int i = 0; i < count; ++i)
            made->pairs.emplace_back(entries[i].classIdentifier, entries[i].creator);
        return made;
    }();
    return *table;
}

}  // namespace

IObjectCreator* FindObjectCreator(std::string_view tag) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    for (auto const& [name, creator] : table.pairs)
        if (name == tag) return creator;
    return nullptr;
}

void CQELParser::RegisterObjectCreator(CQEL_String const& tag, IObjectCreator* creator) {
    static CQEL_Operation const op("QEL::Core::CQELParser::RegisterObjectCreator");
    op.Run([&] {
        op.Check(creator != nullptr, QEL_NULL_PARAMETER, "creator", "Null Pointer");
        op.Check(tag.Length() > 0 && tag.Length() < QELLayout::kTextBytes, QEL_INVALID_PARAMETER, "tag",
                 "A class identifier has 1 to 255 characters");
        SCreatorTable& table = Creators();
        std::lock_guard guard(table.lock);
        for (auto& [name, registered] : table.pairs)
            if (name == tag.View()) {
                registered = creator;
                return;
            }
        table.pairs.emplace_back(std::string(tag.View()), creator);
    });
}

bool CQELParser::UnregisterObjectCreator(CQEL_String const& tag) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    return std::erase_if(table.pairs, [&](auto const& pair) { return pair.first == tag.View(); }) > 0;
}

bool CQELParser::UnregisterObjectCreator(IObjectCreator* creator) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    return std::erase_if(table.pairs, [&](auto const& pair) { return pair.second == creator; }) > 0;
}

bool CQELParser::UnregisterObjectCreator(CQEL_String const& tag, IObjectCreator* creator) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    return std::erase_if(table.pairs, [&](auto const& pair) {
               return pair.first == tag.View() && pair.second == creator;
           }) > 0;
}

void CQELParser::HANDLE_ObjectCreator_Destruction(IObjectCreator& creator) {
    UnregisterObjectCreator(&creator);
}

int CQELParser::FindObjectCreatorIndex(CQEL_String const& tag) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    for (std::size_t i = 0; i < table.pairs.size(); ++i)
        if (table.pairs[i].first == tag.View()) return int(i);
    return -1;
}

int CQELParser::FindObjectCreatorIndex(IObjectCreator const* creator) {
    SCreatorTable& table = Creators();
    std::lock_guard guard(table.lock);
    for (std::size_t i = 0; i < table.pairs.size(); ++i)
        if (table.pairs[i].second == creator) return int(i);
    return -1;
}

IObjectCreator::~IObjectCreator() {
    CQELParser::HANDLE_ObjectCreator_Destruction(*this);
}

}  // namespace QEL::Core
