// SPDX-License-Identifier: MIT
// assimp: ReadFile with aiProcess_JoinIdenticalVertices (exact weld); an
// aiMesh of positions and faces, without adjacency. The STL reader gives each
// corner its facet's normal, which would keep corners of different facets
// apart: the normals are removed first (aiProcess_RemoveComponent), so that
// the weld is by position as on every other side.
#include <assimp/config.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <assimp/Importer.hpp>
#include <stdexcept>

#include "PeerTiming.h"

int main(int argc, char** argv) {
    return QEL::Compare::Main(argc, argv, [](char const* path) {
        Assimp::Importer importer;
        importer.SetPropertyInteger(AI_CONFIG_PP_RVC_FLAGS, aiComponent_NORMALS);
        aiScene const* scene =
            importer.ReadFile(path, aiProcess_RemoveComponent | aiProcess_JoinIdenticalVertices);
        if (scene == nullptr) throw std::runtime_error(importer.GetErrorString());
        QEL::Compare::SCounts counts;
        for (unsigned m = 0; m < scene->mNumMeshes; ++m) {
            counts.vertices += scene->mMeshes[m]->mNumVertices;
            counts.triangles += scene->mMeshes[m]->mNumFaces;
        }
        return counts;
    });
}
