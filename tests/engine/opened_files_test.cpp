// The files that a creation opens, as recorded by the system.
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/test_engine.h"

namespace facefeature_test {
namespace {

TEST(CreateFeatureEngine, EachFileIsOpenedOnceInItsOrderAndClosedBeforeTheNext) {
  haveModel();
  const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(watch, 0);
  ASSERT_GE(inotify_add_watch(watch, modelFolder().c_str(), IN_OPEN | IN_CLOSE), 0);
  { const OwnEngine engine; }

  std::vector<std::string> wanted;
  for (const ModelFile& file : modelFiles()) {
    wanted.push_back("open " + file.name);
    wanted.push_back("close " + file.name);
  }
  std::vector<std::string> got;
  alignas(inotify_event) char buffer[64 * 1024];
  for (ssize_t length = 0; (length = read(watch, buffer, sizeof buffer)) > 0;) {
    for (ssize_t offset = 0; offset < length;) {
      inotify_event event;
      std::memcpy(&event, buffer + offset, sizeof event);
      const std::string name = event.len > 0 ? buffer + offset + sizeof event : "";
      if (!name.empty()) got.push_back(((event.mask & IN_OPEN) != 0 ? "open " : "close ") + name);
      offset += static_cast<ssize_t>(sizeof event + event.len);
    }
  }
  close(watch);
  EXPECT_EQ(303u * 2, wanted.size());
  const auto differ = std::mismatch(wanted.begin(), wanted.end(), got.begin(), got.end());
  if (differ.first != wanted.end()) {
    ADD_FAILURE() << "wanted \"" << *differ.first << "\", got "
                  << (differ.second != got.end() ? *differ.second : "nothing more");
  }
  EXPECT_EQ(wanted.size(), got.size());
}

}  // namespace
}  // namespace facefeature_test
