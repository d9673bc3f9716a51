// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPODOFMAP_H
#define FIELDSTORE_IPODOFMAP_H

#include <functional>
#include <utility>
#include <vector>

#include "fieldstore/export.h"

/// A sparse map between degrees of freedom, and a type per degree of freedom (class "PODOFMap",
/// file "evdofmap.dat", binary by default, a commit replaces the file).
///
/// The data are produced on demand: what is neither in memory nor in the storage is computed by the
/// host's resolve function and stored at once.
class FIELDSTORE_INTERFACE IPODOFMap {
public:
    /// Kind of a degree of freedom. The library distinguishes 0 and 1 and keeps every other value.
    enum EDOFType : int { eType0 = 0, eType1 = 1 };

    /// (column, weight)
    using DOFWeight = std::pair<int, double>;
    /// The entries of each row.
    using Rows = std::vector<std::vector<DOFWeight>>;
    /// The types and the rows.
    using ResolveResult = std::pair<std::vector<EDOFType>, Rows>;
    /// Computes them.
    using ResolveFunction = std::function<ResolveResult()>;

    IPODOFMap(const IPODOFMap&) = delete;
    IPODOFMap& operator=(const IPODOFMap&) = delete;
    virtual ~IPODOFMap() = default;

    /// Calls the resolve function and returns its result; stores nothing.
    /// Raises std::bad_function_call for an empty function, and whatever the function raises.
    virtual ResolveResult ResolveDOFMap() = 0;

    /// The rows: row r lists (column, weight), a column being the number of another row.
    ///
    /// An empty, unmodified map is loaded from the storage first; when that fails, the resolve
    /// function is called and its result committed to binary storage without a lock. Every failure
    /// on the way leaves the data reached so far and raises nothing. The reference stays valid
    /// until the object changes.
    virtual const Rows& GetDOFMap() = 0;

    /// The transposed map: row j lists (row index, weight) for every weight in column j that is not
    /// exactly zero, by ascending row. Kept until its number of rows differs from that of the map
    /// or either is empty, so it is stale after SetDOFMap with a map of the same size.
    /// Raises std::runtime_error "Invalid column index in PODOFMap object." for a column outside
    /// the rows; the transposed map is then empty.
    virtual const Rows& GetTransposedDOFMap() = 0;

    /// The types, one per row by convention; loaded or resolved like GetDOFMap().
    virtual const std::vector<EDOFType>& GetDOFTypes() = 0;

    /// Whether the type at `index` is 1; false for an index outside the types.
    virtual bool IsDOFType1(int index) = 0;

    /// 1 when the type at `index` is 0, else 0; 0 for an index outside the types.
    virtual int IsDOFType0(int index) = 0;

    /// Installs the function that computes types and rows. Returns true. A function that is running
    /// stays alive until it returns.
    virtual bool SetResolveFunction(ResolveFunction function) = 0;

    /// Replaces the rows; the transposed map is left as it is. Returns true.
    virtual bool SetDOFMap(const Rows& rows) = 0;

    /// Replaces the types. Returns true.
    virtual bool SetDOFTypes(const std::vector<EDOFType>& types) = 0;

protected:
    IPODOFMap() = default;
};

#endif
