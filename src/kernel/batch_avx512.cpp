#define TVRK_BATCH_NAME tvrk_batch_avx512
#include "kernel/batch.inc"
