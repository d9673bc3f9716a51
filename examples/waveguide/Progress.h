// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_PROGRESS_H
#define WAVEGUIDE_PROGRESS_H

#include <cstddef>
#include <string>

namespace waveguide {

/// A bar on standard error that is redrawn in place while something runs; silent unless standard
/// error is a terminal, so that logs and pipes stay clean. Gone when the object is destroyed.
class Progress {
public:
    Progress(std::string label, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// `note` stands behind the bar.
    void Show(std::size_t done, const std::string& note);

    /// Takes the bar off the screen, before a line is printed; Show() brings it back.
    void Hide() const;

private:
    std::string label_;
    std::size_t total_;
    bool isTerminal_;
};

}  // namespace waveguide

#endif
