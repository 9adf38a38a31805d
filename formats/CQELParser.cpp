// SPDX-License-Identifier: MIT
// CQELParser: the parser's own state. Writing is in CQELParser_Write.cpp,
// reading in CQELParser_Read.cpp, the creator registry in CQEL_ObjectCreators.cpp.
#include "formats/CQELParser.h"

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CQELParser::CQELParser() = default;
CQELParser::~CQELParser() = default;

void CQELParser::SetKeyDerivationIterations(int iterations) {
    static CQEL_Operation const op("QEL::Core::CQELParser::SetKeyDerivationIterations");
    op.Run([&] {
        op.CheckRange(iterations, kMinIterations, kMaxIterations, "iterations");
        m_iterations = iterations;
    });
}

int CQELParser::GetNumObjects() const {
    return m_objects.Count();
}

ISerialisable* CQELParser::GetObject(int i) const {
    static CQEL_Operation const op("QEL::Core::CQELParser::GetObject");
    return op.Run([&] {
        op.CheckRange(i, 0, m_objects.Count() - 1, "index");
        return m_objects[i];
    });
}

ISerialisable* CQELParser::DetachObject(int i) {
    static CQEL_Operation const op("QEL::Core::CQELParser::DetachObject");
    return op.Run([&] {
        op.CheckRange(i, 0, m_objects.Count() - 1, "index");
        return m_objects.Detach(i);
    });
}

void CQELParser::ClearObjects() {
    m_objects.Clear();
}

}  // namespace QEL::Core
