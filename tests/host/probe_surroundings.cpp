#include "host/probe_surroundings.h"

#if !defined(__aarch64__)
#include <xmmintrin.h>
#endif

#include <atomic>
#include <cfenv>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "host/probe_system.h"

namespace facefeature_test {
namespace {

// The thread's floating-point control register, and its bits that treat denormal results and
// denormal operands as zeros.
#if defined(__aarch64__)
constexpr uint64_t kFlushed = 1u << 24;
uint64_t controlRegister() {
  uint64_t bits;
  asm volatile("mrs %0, fpcr" : "=r"(bits));
  return bits;
}
void setControlRegister(uint64_t bits) { asm volatile("msr fpcr, %0" : : "r"(bits)); }
#else
constexpr unsigned kFlushed = 0x8040;
unsigned controlRegister() { return _mm_getcsr(); }
void setControlRegister(unsigned bits) { _mm_setcsr(bits); }
#endif

constexpr int32_t kSide = 96;
constexpr int32_t kProducts = 5;

struct Rounding {
  const char* name;
  int mode;
};
const Rounding kRoundings[] = {{"nearest", FE_TONEAREST},
                               {"upward", FE_UPWARD},
                               {"downward", FE_DOWNWARD},
                               {"zero", FE_TOWARDZERO}};

uint32_t scrambled(uint32_t x) {
  x = (x ^ (x >> 16)) * 0x7FEB352Du;
  x = (x ^ (x >> 15)) * 0x846CA68Bu;
  return x ^ (x >> 16);
}

std::vector<float> squareOf(int32_t number) {
  std::vector<float> values(static_cast<size_t>(kSide * kSide));
  for (size_t i = 0; i < values.size(); ++i) {
    const uint32_t bits =
        scrambled(static_cast<uint32_t>(i) * 0x9E3779B9u + static_cast<uint32_t>(number));
    values[i] = static_cast<float>(static_cast<int32_t>(bits) >> 8) * 0x1p-23f;
  }
  return values;
}

std::vector<std::vector<float>> productsOf(const HostBlas& blas) {
  std::vector<std::vector<float>> products;
  for (int32_t number = 0; number < kProducts; ++number) products.push_back(blas.product(number));
  return products;
}

}  // namespace

void setRounding(const std::string& mode) {
  for (const Rounding& rounding : kRoundings) {
    if (mode != rounding.name) continue;
    if (std::fesetround(rounding.mode) != 0) throw std::runtime_error("can't round " + mode);
    return;
  }
  throw std::runtime_error("no such rounding: " + mode);
}

void setDenormals(const std::string& mode) {
  if (mode != "kept" && mode != "flushed") throw std::runtime_error("denormals can't be " + mode);
  setControlRegister((controlRegister() & ~kFlushed) | (mode == "flushed" ? kFlushed : 0));
}

std::string floatEnvironment() {
  std::string text = "unknown";
  for (const Rounding& rounding : kRoundings) {
    if (std::fegetround() == rounding.mode) text = rounding.name;
  }
  const auto flushed = controlRegister() & kFlushed;
  return text + (flushed == 0 ? " kept" : flushed == kFlushed ? " flushed" : " half flushed");
}

void takeMemory(int32_t blocks) {
  for (int32_t block = 0; block < blocks; ++block) {
    const uint32_t bits = scrambled(static_cast<uint32_t>(block));
    const size_t pages = 1 + bits % 4000;
    reserveAddresses(pages * 4096);
    // Never freed and never used; it only takes up addresses. A leak checker finds it in this list,
    // which outlives the static objects.
    static std::vector<void*>& taken = *new std::vector<void*>;
    taken.push_back(std::malloc(16 + bits % 3001));
  }
}

HostBlas::HostBlas(const std::string& path)
    : sgemm_(reinterpret_cast<decltype(sgemm_)>(openSymbol(path, "cblas_sgemm"))) {}

std::vector<float> HostBlas::product(int32_t number) const {
  constexpr int kRowMajor = 101, kAsItIs = 111;
  const std::vector<float> a = squareOf(number), b = squareOf(number + kProducts);
  std::vector<float> c(a.size());
  sgemm_(kRowMajor, kAsItIs, kAsItIs, kSide, kSide, kSide, 1.0f, a.data(), kSide, b.data(), kSide,
         0.0f, c.data(), kSide);
  return c;
}

bool besideProducts(const std::vector<HostBlas>& others, const std::function<void()>& work) {
  std::atomic<bool> atWork{true}, good{true};
  std::atomic<size_t> ready{0};
  std::vector<std::thread> threads;
  for (const HostBlas& blas : others) {
    threads.emplace_back([&atWork, &good, &ready, &blas] {
      const std::vector<std::vector<float>> wanted = productsOf(blas);
      ++ready;
      while (atWork) {
        if (productsOf(blas) != wanted) good = false;
      }
    });
  }
  while (ready < others.size()) std::this_thread::yield();
  work();
  atWork = false;
  for (std::thread& thread : threads) thread.join();
  return good;
}

}  // namespace facefeature_test
