// What C programs set for the whole process, and the version that runs.
#include <string_view>

#include "c/Answer.h"
#include "memory/HostServices.h"

static_assert(std::string_view(VEXMORA_VERSION) == VEXMORA_PROJECT_VERSION);
static_assert(VEXMORA_DEFAULT_BLOCK_CACHE_BYTES == VexmoraHost::kDefaultBlockCacheBytes &&
              VEXMORA_DEFAULT_FRAME_CACHE_BYTES == VexmoraHost::kDefaultFrameCacheBytes);

const char* vexmora_version(void) {
    return VEXMORA_VERSION;
}

vexmora_status vexmora_set_cache_budgets(size_t block_bytes, size_t frame_bytes) {
    return VexmoraHost::Answer([=] {
        VexmoraHost::ProcessBlockCache().SetBudget(block_bytes);
        VexmoraHost::ProcessFrameCache().SetBudget(frame_bytes);
        return VEXMORA_OK;
    });
}
