// SPDX-License-Identifier: MIT
// A minimal host: links the installed library, uses its containers, makes a
// point set, saves it to an enciphered container and reads it back, and
// catches the library's exceptions.
#include <qel.h>

#include <cstdio>
#include <filesystem>

using namespace QEL::Core;

namespace {

// A sphere through an enciphered container and back; true if it came back whole.
bool SphereRoundTrip() {
    CPointSet sphere;
    CPointSet_Create(sphere).Sphere(QEL::Elements::CPoint3<double>(0, 0, 0), 0.5, 10.0);

    std::filesystem::path const file = std::filesystem::temp_directory_path() / "qel_example_sphere.qel";
    CQEL_String const path = CQEL_String::FromUTF8(file.c_str());
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&sphere);
    CQELParser container;
    container.Export(path, objects, CQEL_String::FromUTF8("secret"));

    bool const wrongKeyRefused = !container.Import(path, CQEL_String::FromUTF8("not the key"));
    bool whole = false;
    if (container.Import(path, CQEL_String::FromUTF8("secret"))) {
        auto const& back = dynamic_cast<CPointSet const&>(*container.GetObject(0));
        std::printf("sphere: %d points written, %d read back\n", sphere.GetNumPts(), back.GetNumPts());
        whole = back.GetNumPts() == sphere.GetNumPts() && back.GetNumSec() == sphere.GetNumSec();
    }
    std::filesystem::remove(file);
    return wrongKeyRefused && whole;
}

}  // namespace

int main() {
    CQEL_Array<double> values;
    for (int i = 0; i < 10; ++i)
        values.PushBack(i * 0.5);
    std::printf("QEL %s: %d values, MD5 %s\n", QEL_VERSION_STRING, values.Count(),
                values.GetCRC().ToHex().c_str());
    if (!SphereRoundTrip()) return 1;
    try {
        values.Swap(-1, 0);
    } catch (CQEL_Exception const& e) {
        std::printf("caught reason %d: %s\n", int(e.GetExceptionReason()), e.what());
        return e.GetExceptionReason() == QEL_PARAMETER_OUT_OF_RANGE ? 0 : 1;
    }
    return 1;
}
