#define TVRK_BATCH_NAME tvrk_batch_plain
#include "kernel/batch.inc"
