// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_NEWINSTANCE_H
#define FIELDSTORE_NEWINSTANCE_H

#include <memory>
#include <string>

#include "fieldstore/IPOBase.h"
#include "fieldstore/export.h"

/// @file
/// The function that creates objects.

/// Creates a persistent object by class name; the one function that the library exports.
///
/// `className` is matched exactly: L"POModeInfo", L"PODOFMap", L"POCircuitMatrices",
/// L"POMeshTree", L"PODOFList", L"POBinaryTree", L"POPortCircuitDOFs", L"POSolutionMetrics" or
/// L"POAssemblyInfo".
///
/// Returns 1 and does nothing when `instance` is null, else 0. An unknown name also returns 0 and
/// leaves `*instance` empty: test the pointer. What `*instance` held before is released, which may
/// commit and destroy that object. The object handed out is destroyed by the library's own code,
/// whichever module releases the last pointer; a host that loads the library at run time must
/// release all objects before unloading it.
/// Raises std::bad_alloc when memory runs out; `*instance` is then unchanged.
/// May be called from several threads at once.
extern "C" FIELDSTORE_API int NewInstance(const std::wstring& className,
                                          std::shared_ptr<IPOBase>* instance);

#endif
