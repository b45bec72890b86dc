// Documentation records as text.

#include "host/docs_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using record = nlohmann::ordered_json;

TEST(docs_text, signatures_mark_what_can_be_left_out) {
    struct row {
        record docs;
        const char* signature;
    };
    const row rows[] = {
        {{{"min_params", 0}, {"params", record::array()}}, "f()"},
        {{{"min_params", 1}, {"params", {"list: json", "less: function - how"}}},
         "f(list, [less])"},
        {{{"min_params", 0}, {"params", {"...: any"}}}, "f(...)"},
        {{{"min_params", 1}, {"params", {"odd"}}}, "f(odd)"},
        {record::object(), "f()"},
    };
    for (const row& r : rows) EXPECT_EQ(host::signature_of("f", r.docs), r.signature);
}

TEST(docs_text, contents_stand_in_columns) {
    const record of = {
        {"description", "Lights."},
        {"vars", {{"level", "0 to 1"}}},
        {"functions",
         {{"on", {{"description", "Lets there be light.\nMore."}, {"min_params", 0}}},
          {"a_name_that_is_much_too_long", {{"description", "Wide."}, {"min_params", 0}}}}},
        {"children", {{"dmx", {{"description", "Cables."}}}}},
    };
    EXPECT_EQ(host::docs_text("club", of),
              "club\n"
              "    Lights.\n"
              "\n"
              "    dmx.   Cables.\n"
              "    level  0 to 1\n"
              "    on()   Lets there be light.\n"
              "    a_name_that_is_much_too_long()\n"
              "           Wide.\n");
    EXPECT_EQ(host::docs_text("club.x", {{"description", ""}, {"type", "int"}}),
              "club.x\n    int\n");
}

}  // namespace
