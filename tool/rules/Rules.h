// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_RULES_H
#define FIELDSTORE_TOOL_RULES_H

#include <cstddef>
#include <memory>

#include "tool/Bodies.h"
#include "tool/BodyReader.h"
#include "tool/rules/Findings.h"

namespace fieldstore::tool {

/// The structural rules of one class, over all bodies of a file. Remembers what later bodies and
/// Finish() are held against, so it serves one file. Requires: Body() for each body in the order of
/// the file, then Finish() once.
class Rules {
public:
    Rules() = default;
    Rules(const Rules&) = delete;
    Rules& operator=(const Rules&) = delete;
    virtual ~Rules() = default;
    virtual void Body(const AnyBody& body, const Layout& layout) = 0;
    virtual void Finish() {}
};

/// The rules of a body, with those of all bodies, which are the only ones of a class without a file
/// here. Requires: findings that live as long.
template <typename Body>
std::unique_ptr<Rules> MakeRules(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<ModeInfoBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<DOFMapBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<CircuitMatricesBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<MeshTreeBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<DOFListBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<BlockedDOFListBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<BinaryTreeBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<PortCircuitDOFsBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<SolutionMetricsBody>(Findings& findings);
template <>
std::unique_ptr<Rules> MakeRules<AssemblyInfoBody>(Findings& findings);

/// The same for a kind of body.
std::unique_ptr<Rules> RulesOf(std::size_t kind, Findings& findings);

}  // namespace fieldstore::tool

#endif
