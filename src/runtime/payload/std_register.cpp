// The payloads as native classes. Their methods stand in stdobj/, one file for each class, and are
// added here by calls to the functions declared there.

#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"

void tvr_std_string::script_register(tvrobject_metadata&) {}
void tvr_std_buffer::script_register(tvrobject_metadata&) {}
void tvr_std_json::script_register(tvrobject_metadata&) {}
