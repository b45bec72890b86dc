#pragma once

// The text of a package.tvr: lines of the form "key = value".
//
//     # the deck module
//     name = "deckbus"
//     subsystem = MODULE_INTERNAL
//
// Empty lines and what stands behind a # count for nothing; a value may stand between double
// quotes, and a # in them is a part of it. Of a key that is given twice the last one counts.
// Unknown keys are kept, so that older engines can read newer packages.

#include <map>
#include <string>
#include <string_view>

struct tvr_package_file {
    // False, with the line's number and what is wrong with it in `error`.
    bool parse(std::string_view text, std::string& error);

    // Empty for a key that is not there.
    std::string value_of(const std::string& key) const;

    // "MODULE_INTERNAL" unless the file says otherwise.
    std::string subsystem() const;

    std::map<std::string, std::string> values;
};
