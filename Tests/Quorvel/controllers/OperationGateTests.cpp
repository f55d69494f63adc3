#include "Platform/task/StopToken.h"
#include "Platform/task/Task.h"
#include "Quorvel/sessions/AppSession.h"
#include "Tests/Quorvel/controllers/ControllerAccount.h"
#include "Tests/support/ChildProcess.h"

#include <gmock/gmock.h>

#include <functional>

namespace quorvel::test {
namespace {

using Operation = OperationGate::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

// Another process that works in a folder until it is told to end.
class OtherProcess {
  public:
    OtherProcess(const MetadataFolder& folder, OperationKind kind) {
        int ready[2];
        if (::pipe(ready) != 0 || ::pipe(goOn_) != 0) throw std::runtime_error("no pipe");
        child = startChild([&] {
            ::close(goOn_[1]);
            OperationGate gate;
            gate.run(kind, [&](Operation& operation) {
                const FileLock lock = operation.lock(folder);
                char byte = 'x';
                (void)!::write(ready[1], &byte, 1);
                (void)!::read(goOn_[0], &byte, 1); // until the test closes its end, or is gone
            });
        });
        ::close(goOn_[0]);
        ::close(ready[1]);
        char byte = 0;
        EXPECT_EQ(::read(ready[0], &byte, 1), 1);
        ::close(ready[0]);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;
    ~OtherProcess() { end(); }
    void end() {
        if (child <= 0) return;
        ::close(goOn_[1]);
        EXPECT_EQ(awaitChild(child), 0);
        child = 0;
    }

    pid_t child = 0;

  private:
    int goOn_[2] = {};
};

struct Ending {
    std::string_view name;
    OperationKind kind;
    std::function<void(Operation&)> work;
    std::optional<std::string> error; // what the state says afterwards
    std::string status;
};

std::vector<Ending> endings() {
    const auto fail = [](Operation& operation) {
        operation.status("Asking…");
        throw std::runtime_error("no route");
    };
    return {
        {"a pull", OperationKind::pull, fail, "Pull failed: no route", ""},
        {"a push", OperationKind::push, fail, "Push failed: no route", ""},
        {"another operation", OperationKind::tidy, fail, "no route", ""},
        {"one that is refused", OperationKind::pull,
         [](Operation&) { throw OperationRefused(Refusal::noVersions, "detail"); },
         "No versions found on App Store Connect.", ""},
        {"one that is cancelled", OperationKind::push,
         [](Operation& operation) {
             operation.status("Pushing…");
             throw CancellationError();
         },
         std::nullopt, "Cancelled."},
        {"one that ends with an error", OperationKind::pull,
         [](Operation& operation) { operation.endWithError("Pull failed: one of two"); },
         "Pull failed: one of two", ""},
        {"one that succeeds", OperationKind::pull, [](Operation& operation) { operation.status("Pulled"); },
         std::nullopt, "Pulled"},
    };
}

// Whether it threw.
bool runToItsEnd(OperationGate& gate, const Ending& ending) {
    try {
        gate.run(ending.kind, [&](Operation& operation) {
            operation.progress(1, 2);
            ending.work(operation);
        });
        return false;
    } catch (const std::exception&) {
        return true;
    }
}

TEST(OperationGate, leavesInTheStateHowAnOperationEnded) {
    for (const Ending& ending : endings()) {
        SCOPED_TRACE(ending.name);
        OperationGate gate;
        EXPECT_EQ(runToItsEnd(gate, ending), ending.name.find("succeeds") == std::string_view::npos &&
                                                 ending.name.find("ends with") == std::string_view::npos);
        const OperationState state = *gate.state();
        EXPECT_EQ(state.running, std::nullopt);
        EXPECT_EQ(state.progress, std::nullopt);
        EXPECT_EQ(state.error, ending.error);
        EXPECT_EQ(state.status, ending.status);
        gate.run(OperationKind::tidy, [&](Operation&) { // and nothing of it while the next one runs
            EXPECT_EQ(gate.state()->error, std::nullopt);
            EXPECT_EQ(gate.state()->status, "");
        });
    }
}

TEST(OperationGate, isFreeAgainWhenObserversAreWoken) {
    for (const Ending& ending : endings()) {
        SCOPED_TRACE(ending.name);
        OperationGate gate;
        int next = 0;
        const auto subscription = gate.observe(inlineExecutor(), [&] {
            if (gate.state()->running || next > 0) return;
            ++next;
            EXPECT_NO_THROW(gate.run(OperationKind::tidy, [&](Operation&) { ++next; }));
        });
        runToItsEnd(gate, ending);
        EXPECT_EQ(next, 2);
    }
}

TEST(OperationGate, letsOneOperationAtATimeWorkAcrossTheControllersOfAnApp) {
    ControllerAccount account;
    const auto gate = std::make_shared<OperationGate>();
    const auto own = makeAppSession(account.partsOver(account.connect), gate);
    const MetadataFolder folder{account.folder / "named"};
    const auto named = makeAppSession(account.partsOver(account.connect, folder), gate);
    (void)own->metadata->pull({});
    (void)named->metadata->pull({});
    account.connect.requests.clear();
    const std::function<void()> others[] = {
        [&] { (void)own->metadata->pull({}); },
        [&] { (void)named->metadata->planPush({}); },
        [&] { (void)own->screenshots->pull({}); },
        [&] { (void)named->screenshots->planPush({}, {}); },
        [&] { (void)own->screenshots->push({}); },
        [&] { (void)own->translation->translate({.context = "ios/next"}, nullptr); },
    };
    gate->run(OperationKind::tidy, [&](Operation& operation) {
        operation.status("Tidying…");
        operation.progress(1, 3);
        const auto before = gate->state();
        for (const auto& other : others) {
            try {
                other();
                ADD_FAILURE() << "was not refused";
            } catch (const OperationRefused& refused) {
                EXPECT_EQ(refused.refusal(), Refusal::operationRunning);
            }
            EXPECT_EQ(gate->state(), before); // the very same
        }
    });
    EXPECT_THAT(account.connect.requests, IsEmpty());
    EXPECT_NO_THROW((void)named->metadata->planPush({}));
}

TEST(OperationGate, showsWhichProcessItWaitsForUntilTheFolderIsFree) {
    const TemporaryFolder folder;
    const MetadataFolder tree{folder / "app"};
    OtherProcess other(tree, OperationKind::pull);
    const FolderLockWait wait{tree.rootURL, "a pull", other.child};
    OperationGate gate;
    std::vector<std::optional<FolderLockWait>> waits; // each once in a row
    std::function<void()> onWait;
    const auto subscription = gate.observe(inlineExecutor(), [&] {
        const auto state = gate.state();
        if (waits.empty() || waits.back() != state->waitsFor) waits.push_back(state->waitsFor);
        if (state->waitsFor) {
            EXPECT_EQ(state->running, OperationKind::push);
            onWait();
        }
    });
    const auto push = [&](Operation& operation) {
        const FileLock lock = operation.lock(tree);
        EXPECT_EQ(gate.state()->waitsFor, std::nullopt);
        EXPECT_EQ(FileLock::holderOf(tree.privateFolder() / "lock"),
                  (FileLock::Holder{"a push", ::getpid()}));
    };

    std::stop_source task;
    onWait = [&] { task.request_stop(); };
    {
        const TaskScope scope(task.get_token());
        EXPECT_THROW(gate.run(OperationKind::push, push), CancellationError);
    }
    EXPECT_THAT(waits, ElementsAre(std::nullopt, wait, std::nullopt));
    EXPECT_EQ(gate.state()->status, "Cancelled.");

    waits.clear();
    onWait = [&] { other.end(); };
    gate.run(OperationKind::push, push);
    EXPECT_THAT(waits, ElementsAre(std::nullopt, wait, std::nullopt));
    EXPECT_EQ(gate.state()->error, std::nullopt);
}

} // namespace
} // namespace quorvel::test
