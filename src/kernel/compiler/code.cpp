#include "kernel/compiler/code.h"

tvrk_operands tvrk_operands_of(tvrk_draft_inst& in) {
    tvrk_operands found;
    uint32_t* const fields[] = {&in.a, &in.b, &in.c};
    size_t next = 0, sources = 0;
    for (const char* letter = tvrk_op_format(in.op); *letter != 0; ++letter) {
        if (*letter == 'D') {
            found.result = fields[next++];
        } else if (*letter == 'R') {
            found.sources[sources++] = fields[next++];
        } else if (*letter == 'P') {
            // The index register is the field behind the pointer, whatever the letters say.
            found.sources[sources++] = fields[next + 1];
            next += 2;
            if (letter[1] == 'R') ++letter;
        } else if (*letter == 'I') {
            found.value_in_imm = true;
        }
    }
    return found;
}
