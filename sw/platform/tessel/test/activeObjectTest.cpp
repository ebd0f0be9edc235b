#include "tessel/activeObject.hpp"

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <thread>

#include "support/await.hpp"
#include "tessel/host.hpp"

namespace {

using namespace TestSupport;
using Tessel::ActiveObject::V1::SchedulingPolicy;
using testing::ElementsAre;

// Besides this one there may be those of a sanitizer, from the first thread on.
std::size_t countThreads() {
    makeActiveObject().reset();
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

bool allActiveObjectsEnd() {
    return Tessel::Host::V1::Host().finish(deadline);
}

std::string nameOfThisThread() {
    std::array<char, 32> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

TEST(ActiveObjectTest, RunsOnAThreadOfItsOwn) {
    const auto object = makeActiveObject();
    const auto thread = on(*object, [] { return std::this_thread::get_id(); });
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_EQ(on(*object, [] { return std::this_thread::get_id(); }), thread);
}

TEST(ActiveObjectTest, RunsItsFunctionBeforeWhatIsPosted) {
    Event posted;
    Record<int> record;
    auto object = makeActiveObject([&] {
        posted.await();
        record.add(1);
    });
    object->runOnActiveObject([&] { record.add(2); });
    posted.happen();
    object.reset();
    EXPECT_THAT(record.get(), ElementsAre(1, 2));
}

TEST(ActiveObjectTest, RunsPostedFunctionsInOrder) {
    Record<int> record;
    auto object = makeActiveObject();
    for (int i = 1; i <= 4; ++i) {
        object->runOnActiveObject([&record, i] { record.add(i); });
    }
    EXPECT_THAT(record.await(4), ElementsAre(1, 2, 3, 4));
}

TEST(ActiveObjectTest, RunsAFunctionPostedOnItsOwnThreadAfterThePresentOne) {
    Record<int> record;
    auto object = makeActiveObject();
    object->runOnActiveObject([&, raw = object.get()] {
        raw->runOnActiveObject([&record] { record.add(2); });
        record.add(1);
    });
    EXPECT_THAT(record.await(2), ElementsAre(1, 2));
}

TEST(ActiveObjectTest, LetsNoPostOvertakeAnEarlierOneOfItsOwnThread) {
    Record<int> record;
    Event posted;
    Event postedOutside;
    auto object = makeActiveObject();
    object->runOnActiveObject([&, raw = object.get()] {
        raw->runOnActiveObject([&record] { record.add(1); });
        posted.happen();
        postedOutside.await();
    });
    posted.await();
    object->runOnActiveObject([&record] { record.add(2); });
    postedOutside.happen();
    EXPECT_THAT(record.await(2), ElementsAre(1, 2));
}

TEST(ActiveObjectTest, NamesItsThreadWithFifteenCharacters) {
    const auto object = ActiveObjectIf::create(
        "ANameOfMoreThan15", [] {}, SchedulingPolicy::Default);
    EXPECT_EQ(on(*object, nameOfThisThread), "ANameOfMoreThan");
}

TEST(ActiveObjectTest, ReleaseWaitsForEverythingPosted) {
    std::atomic<int> done = 0;
    auto object = makeActiveObject();
    for (int i = 0; i < 1000; ++i) {
        object->runOnActiveObject([&done] { ++done; });
    }
    object.reset();
    EXPECT_EQ(done, 1000);
}

TEST(ActiveObjectTest, EndsWhenReleasedInAPostedFunction) {
    const auto before = countThreads();
    auto object = makeActiveObject();
    auto* const raw = object.get();
    raw->runOnActiveObject([last = std::move(object)] {});
    EXPECT_TRUE(allActiveObjectsEnd());
    EXPECT_EQ(countThreads(), before);
}

TEST(ActiveObjectTest, EndsWhenReleasedInItsFunction) {
    const auto before = countThreads();
    std::promise<std::shared_ptr<ActiveObjectIf>> handedIn;
    auto future =
        std::make_shared<std::future<std::shared_ptr<ActiveObjectIf>>>(handedIn.get_future());
    handedIn.set_value(makeActiveObject([future] { await(std::move(*future)); }));
    EXPECT_TRUE(allActiveObjectsEnd());
    EXPECT_EQ(countThreads(), before);
}

TEST(ActiveObjectTest, DoesWhatWasPostedBeforeItsReleaseOnItsOwnThread) {
    Record<int> record;
    Event posted;
    auto object = makeActiveObject();
    auto* const raw = object.get();
    raw->runOnActiveObject(
        [&, last = std::make_shared<std::shared_ptr<ActiveObjectIf>>(std::move(object))] {
            posted.await();
            last->reset();
            record.add(1);
        });
    raw->runOnActiveObject([&record] { record.add(2); });
    posted.happen();
    EXPECT_TRUE(allActiveObjectsEnd());
    EXPECT_THAT(record.get(), ElementsAre(1, 2));
}

TEST(ActiveObjectTest, LeavesNoThreadBehindOfThoseThatWereReleasedOnTheirOwn) {
    const auto before = countThreads();
    for (int i = 0; i < 100; ++i) {
        auto object = makeActiveObject();
        auto* const raw = object.get();
        raw->runOnActiveObject([last = std::move(object)] {});
    }
    EXPECT_TRUE(allActiveObjectsEnd());
    EXPECT_EQ(countThreads(), before);
}

TEST(ActiveObjectTest, StartsAndStopsAHundredTimesWithPostsFromSeveralThreads) {
    std::atomic<int> done = 0;
    for (int round = 0; round < 100; ++round) {
        auto object = makeActiveObject([&done] { ++done; });
        const auto post = [&done](const std::shared_ptr<ActiveObjectIf>& poster) {
            for (int i = 0; i < 10; ++i) {
                poster->runOnActiveObject([&done] { ++done; });
            }
        };
        std::array<std::thread, 4> posters;
        for (auto& poster : posters) {
            poster = std::thread(post, object);
        }
        // Now and then a poster holds the last reference.
        object.reset();
        for (auto& poster : posters) {
            poster.join();
        }
    }
    EXPECT_EQ(done, 100 * (1 + 4 * 10));
    EXPECT_TRUE(allActiveObjectsEnd());
}

std::size_t stackOfThisThread() {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    std::size_t size = 0;
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

TEST(ActiveObjectTest, HasAStackOfEightMebibytesWhereTheProcessGivesItsThreadsLess) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{1} << 20);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
    EXPECT_GE(on(*makeActiveObject(), stackOfThisThread), std::size_t{8} << 20);
}

// Only a user other than root can be denied a thread.
TEST(ActiveObjectTest, GivesNullWhenTheProcessCanHaveNoFurtherThread) {
    constexpr uid_t nobody = 65534;
    ASSERT_TRUE(geteuid() != 0 || setuid(nobody) == 0);
    rlimit limit{};
    getrlimit(RLIMIT_NPROC, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NPROC, &none);
    EXPECT_EQ(makeActiveObject(), nullptr);
    setrlimit(RLIMIT_NPROC, &limit);
    EXPECT_NE(makeActiveObject(), nullptr);
}

TEST(ActiveObjectDeathTest, LetsTheProcessExitWhileItWorks) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto exitAtWork = [] {
        Event working;
        auto* const object = new std::shared_ptr<ActiveObjectIf>(makeActiveObject());
        std::function<void()> work = [&] {
            working.happen();
            (*object)->runOnActiveObject(work);
        };
        (*object)->runOnActiveObject(work);
        working.await();
        std::exit(0);
    };
    EXPECT_EXIT(exitAtWork(), testing::ExitedWithCode(0), "");
}

TEST(ActiveObjectDeathTest, EndsTheProcessWhenAFunctionThrows) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_DEATH(makeActiveObject()->runOnActiveObject([] { throw std::runtime_error("oops"); }),
                 "oops");
}

}  // namespace
