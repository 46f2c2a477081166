#include "Tovi/ModuleObject.h"

#include <vector>

#include <gtest/gtest.h>

namespace {

struct Counted {
  static inline int destroyed = 0;
  ~Counted() { ++destroyed; }
};

// Records its id when deleted.
class Recorder : public Tovi::ModuleObject {
 public:
  Recorder(std::vector<int>& log, int id) : fLog(log), fId(id) {}
  ~Recorder() override { fLog.push_back(fId); }

 private:
  std::vector<int>& fLog;
  int fId;
};

TEST(ToviModuleObject, DeleterDeletesInOrderAdded) {
  std::vector<int> log;
  {
    Tovi::ModuleObjectDeleter deleter;
    for (int id : {3, 1, 2}) deleter.add(new Recorder(log, id));
    deleter.add(nullptr);
    EXPECT_EQ(deleter.size(), 3u);
    EXPECT_TRUE(log.empty());
  }
  EXPECT_EQ(log, (std::vector<int>{3, 1, 2}));
}

TEST(ToviModuleObject, RegisteredObjectOutlivesTheDeleter) {
  Counted::destroyed = 0;
  Counted* object = new Counted;
  {
    Tovi::ModuleObjectDeleter deleter;
    deleter.registerForCleanup_toBeUsedOnlyByKelpaCoopVisitor(object);
  }
  EXPECT_EQ(Counted::destroyed, 0);
  delete object;
}

TEST(ToviModuleObject, DestroyObjectDeletesOnce) {
  Counted::destroyed = 0;
  Tovi::ModuleObjectImpl<Counted*, boost::checked_deleter<Counted>> holder(new Counted);
  holder.destroyObject();
  EXPECT_EQ(Counted::destroyed, 1);
  EXPECT_EQ(holder.get(), nullptr);
  holder.destroyObject();
  EXPECT_EQ(Counted::destroyed, 1);
}

}  // namespace
