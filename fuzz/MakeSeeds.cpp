// SPDX-License-Identifier: MIT
// Writes small valid files of every format the fuzz targets read, as their
// starting corpus: qel_fuzz_seeds <folder> fills <folder>/<target>/.
#include <cstdio>
#include <filesystem>
#include <string>

#include "FuzzBlob.h"
#include "qel.h"

using namespace QEL::Core;

namespace {

// A point set of two sections, the first with every stored attribute.
CPointSet MakePointSet() {
    CPointSet set(2, 3, CPtsData::def);
    set.get_Sec(0).AddMetaData(CPtsData::nms | CPtsData::cuv | CPtsData::cpt | CPtsData::cnm | CPtsData::col |
                               CPtsData::err | CPtsData::vel | CPtsData::sta | CPtsData::ind);
    for (int s = 0; s < 2; ++s)
        for (int i = 0; i < 3; ++i)
            set.get_Sec(s).set_Pts(i, CPoint3<double>(s, i, s + i));
    set.SetName(CQEL_String::FromASCII("seed"));
    unsigned char const user[] = {1, 2, 3};
    set.SetUserMetaData(CQEL_Array<unsigned char>(3, user));
    return set;
}

void WriteQEL(std::filesystem::path const& folder, char const* name, char const* key, int objects) {
    std::filesystem::create_directories(folder);
    std::vector<QEL::Fuzz::CFuzzBlob> blobs(static_cast<std::size_t>(objects));
    CPointSet const points = MakePointSet();
    CQEL_Array<ISerialisable const*> list;
    if (objects > 0) list.PushBack(&points, 1);
    for (int i = 0; i < objects; ++i) {
        blobs[std::size_t(i)].bytes.assign(std::size_t(8 + 5 * i), static_cast<unsigned char>('a' + i));
        list.PushBack(&blobs[std::size_t(i)], 1);
    }
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);  // keeps each fuzz run cheap
    parser.Export(CQEL_String::FromASCII((folder / name).c_str()), list, CQEL_String::FromASCII(key));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: qel_fuzz_seeds <folder>\n");
        return 2;
    }
    std::filesystem::path const root = argv[1];
    try {
        for (int n : {0, 1, 3}) {
            std::string const name = "blobs" + std::to_string(n) + ".qel";
            WriteQEL(root / "qel", name.c_str(), "", n);
            WriteQEL(root / "qel_key", name.c_str(), "fuzz", n);
        }
    } catch (CQEL_Exception const& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
    return 0;
}
