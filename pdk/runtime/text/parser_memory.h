// The memory of one parse.
#pragma once

#include <memory_resource>
#include <new>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

namespace znfi_runtime {

// Freed as a whole when it is destroyed, and not before: when memory runs out, the parser lets go of what it has
// without freeing it. Outlives the parser. One thread.
class ParserMemory : public xercesc::MemoryManager {
  public:
    // For exceptions, which outlive the parse.
    xercesc::MemoryManager* getExceptionMemoryManager() override { return xercesc::XMLPlatformUtils::fgMemoryManager; }

    // Throws what the parser expects.
    void* allocate(XMLSize_t size) override {
        try {
            return blocks_.allocate(size);
        } catch (const std::bad_alloc&) {
            throw xercesc::OutOfMemoryException();
        }
    }

    void deallocate(void*) override {}

  private:
    std::pmr::monotonic_buffer_resource blocks_{std::pmr::new_delete_resource()};
};

}  // namespace znfi_runtime
