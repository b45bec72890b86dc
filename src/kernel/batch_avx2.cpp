#define TVRK_BATCH_NAME tvrk_batch_avx2
#include "kernel/batch.inc"
