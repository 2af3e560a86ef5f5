#include "alloc_seam.h"

#include <cstdlib>

#include "qz4/dense.h"

namespace qz4test {
namespace {
unsigned fail_at = 0;
unsigned calls_made = 0;
bool refused = false, only = false;

char* counting_alloc(unsigned bytes) {
  ++calls_made;
  if (fail_at && (only ? calls_made == fail_at : calls_made >= fail_at)) {
    refused = true;
    return nullptr;
  }
  return static_cast<char*>(std::malloc(bytes));
}
void counting_free(char* p) { std::free(p); }
}  // namespace

failing_allocator::failing_allocator(unsigned k, bool only_k) {
  fail_at = k;
  only = only_k;
  calls_made = 0;
  refused = false;
  qz4::set_block_allocator(counting_alloc, counting_free);
}

failing_allocator::~failing_allocator() {
  qz4::set_block_allocator(nullptr, nullptr);
  fail_at = 0;
  only = false;
}

unsigned failing_allocator::calls() const { return calls_made; }
bool failing_allocator::failed() const { return refused; }
bool failing_allocator::only_one() { return only && fail_at; }

}  // namespace qz4test
