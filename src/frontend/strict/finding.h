#pragma once

// What the strict checker has found, and how it is told. Thread: one compile.

#include <string>
#include <vector>

#include "base/join.h"
#include "frontend/source/token_view.h"

struct tvr_strict_finding {
    const tvr_src_token* token;  // lives as long as the tree
    std::string text;
};

class tvr_strict_findings {
public:
    explicit tvr_strict_findings(bool everywhere) : strict_everywhere(everywhere) {}

    // Keeps a finding, unless the code at its place is not to be checked.
    template <typename... T>
    void add(const tvr_src_token* token, const T&... parts) {
        if (token == nullptr || !tvr_is_strict_code(*token, strict_everywhere)) return;
        all.push_back({token, tvr_join(parts...)});
    }

    const std::vector<tvr_strict_finding>& found() const { return all; }

    // Prints every finding in the frame of a syntax warning; as error lines when findings end
    // the compile.
    void print(bool as_errors) const;

private:
    bool strict_everywhere;  // where no mark of a file says otherwise
    std::vector<tvr_strict_finding> all;
};
