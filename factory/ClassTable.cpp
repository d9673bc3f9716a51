// SPDX-License-Identifier: Apache-2.0
#include "factory/ClassTable.h"

#include "factory/Release.h"
#include "objects/POAssemblyInfo.h"
#include "objects/POBinaryTree.h"
#include "objects/POCircuitMatrices.h"
#include "objects/PODOFList.h"
#include "objects/PODOFMap.h"
#include "objects/POMeshTree.h"
#include "objects/POModeInfo.h"
#include "objects/POPortCircuitDOFs.h"
#include "objects/POSolutionMetrics.h"

namespace fieldstore {
namespace {

template <typename Class>
std::shared_ptr<IPOBase> Create() {
    return std::shared_ptr<IPOBase>(new Class, Release<Class>());
}

}  // namespace

const std::initializer_list<ClassEntry> kClassTable{
    {L"POModeInfo", &Create<POModeInfo>},
    {L"PODOFMap", &Create<PODOFMap>},
    {L"POCircuitMatrices", &Create<POCircuitMatrices>},
    {L"POMeshTree", &Create<POMeshTree>},
    {L"PODOFList", &Create<PODOFList>},
    {L"POBinaryTree", &Create<POBinaryTree>},
    {L"POPortCircuitDOFs", &Create<POPortCircuitDOFs>},
    {L"POSolutionMetrics", &Create<POSolutionMetrics>},
    {L"POAssemblyInfo", &Create<POAssemblyInfo>}};

}  // namespace fieldstore
