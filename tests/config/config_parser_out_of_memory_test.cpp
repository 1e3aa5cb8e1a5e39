// The state after memory runs out during a parse. The allocation functions of the whole program are
// replaced here by ones that fail on request. The sanitizers bring their own, which detect more if
// they are left in place, so this test is not part of their builds.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

#include "config/config_document.h"
#include "support/config_checks.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FACEFEATURE_TEST_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FACEFEATURE_TEST_SANITIZED
#endif

#if !defined(FACEFEATURE_TEST_SANITIZED)

namespace {

int64_t allocationsUntilFailure = -1;  // below 0: none fails

}  // namespace

#if defined(__GNUC__)
// If inlined into a caller, a free without a visible malloc is diagnosed as an error.
#define FACEFEATURE_TEST_NOT_INLINED __attribute__((noinline))
#else
#define FACEFEATURE_TEST_NOT_INLINED
#endif

FACEFEATURE_TEST_NOT_INLINED void* operator new(size_t size) {
  if (allocationsUntilFailure == 0) throw std::bad_alloc();
  if (allocationsUntilFailure > 0) --allocationsUntilFailure;
  void* memory = std::malloc(size > 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

FACEFEATURE_TEST_NOT_INLINED void operator delete(void* memory) noexcept { std::free(memory); }
FACEFEATURE_TEST_NOT_INLINED void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}

namespace facefeature_test {
namespace {

using facefeature::ConfigDocument;

// Long names, many sections and many entries, so that every buffer and list has to grow as well.
std::string demandingText() {
  std::string text = "a=1\n" + std::string(100, 'k') + "=" + std::string(200, 'v') + "\n";
  for (int i = 0; i < 20; ++i) text += "k" + std::to_string(i) + "=1,2\n";
  text += "[" + std::string(90, 's') + "]\n";
  for (int i = 0; i < 20; ++i) text += "[s" + std::to_string(i) + "]\nk=1\n";
  return text;
}

// Returns false if the parse has thrown std::bad_alloc.
bool parseWithAllocations(ConfigDocument* document, const std::string& text, int64_t allocations) {
  allocationsUntilFailure = allocations;
  try {
    document->parse(text.c_str(), static_cast<uint32_t>(text.size()));
  } catch (const std::bad_alloc&) {
    allocationsUntilFailure = -1;
    return false;
  }
  allocationsUntilFailure = -1;
  return true;
}

TEST(ConfigParseWithoutMemory, AnyFailedAllocationLeavesTheParserAsBadAlloc) {
  const std::string text = demandingText();
  const std::string wanted = outlineOf(text);
  int64_t allocations = 0;
  for (bool done = false; !done; ++allocations) {
    ASSERT_LT(allocations, 2000);
    SCOPED_TRACE(allocations);
    ConfigDocument document;
    done = parseWithAllocations(&document, text, allocations);
    if (done) {
      EXPECT_EQ(wanted, outline(document));
    }
    // The scratch data of the failed parse does not leak into the next one.
    ASSERT_EQ("[DEFAULT]{b=2}s{c=3}", outlineOf("b=2\n[s]\nc=3\n"));
  }
  EXPECT_GT(allocations, 60);
}

}  // namespace
}  // namespace facefeature_test

#endif
