#include "host/workers/crew.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <map>
#include <thread>

#include "host/app/worker_kinds.h"
#include "host/medium/open_image.h"
#include "host/platform/folder.h"
#include "host/platform/sandbox.h"
#include "tests/host/TestFiles.h"
#include "tests/host/workers/TestKinds.h"

namespace salvor {

namespace {

using namespace test;

// Sends the first byte of every sector and writes the sector to the order's file; reads on a thread of its own.
bool ReadSectors(Worker& worker) {
    Medium& medium = worker.GetMedium();
    const auto subject = worker.What().at("subject").get<std::int32_t>();
    bool isStopped = false;
    std::async(std::launch::async, [&] {
        Bytes sector(static_cast<std::size_t>(medium.SectorSize()));
        for (std::int64_t i = 0; i < medium.SectorCount() && !isStopped; ++i) {
            worker.At({i, 1}, subject);
            medium.Read(i, sector.data(), 1);
            worker.Send(std::to_string(sector[0]) + '\n');
            worker.Output().Write(sector.data(), sector.size());
            worker.Done((i + 1) * medium.SectorSize());
            isStopped = worker.StopRequested();
        }
    }).get();
    return !isStopped;
}

bool TakesLong(Worker& worker) {
    while (!worker.StopRequested()) {
        worker.Done(1);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

// Takes longer than the test's patience, but none of its steps does.
bool WorksInSteps(Worker& worker) {
    for (int i = 1; i <= 15; ++i) {
        worker.Done(i);
        worker.SendSoon(std::to_string(i) + '\n');
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

class Client : public CrewClient {
public:
    explicit Client(std::vector<Order> orders) : orders_(std::move(orders)) {}

    std::optional<Order> NextOrder() override {
        return next_ < orders_.size() ? std::optional(orders_[next_++]) : std::nullopt;
    }
    void OnLine(std::int64_t id, const std::string& line) override { lines[id] += line + ' '; }
    void OnEnd(std::int64_t id, const WorkerEnd& end) override { ends[id] = end; }
    void OnStanding(std::int64_t /*id*/, const Standing& standing) override { isUnderWay_ |= standing.done > 0; }
    bool StopRequested() override { return stopsUnderWay && isUnderWay_; }

    bool stopsUnderWay = false;
    std::map<std::int64_t, std::string> lines;
    std::map<std::int64_t, WorkerEnd> ends;

private:
    std::vector<Order> orders_;
    std::size_t next_ = 0;
    bool isUnderWay_ = false;
};

class CrewTest : public testing::Test {
protected:
    CrewTest() {
        image_ = Pattern(4 * 512);
        WriteFile(folder_ / "image", image_);
        medium_.emplace(OpenImage({(folder_ / "image").string()}), 512);
    }
    ~CrewTest() override {
        unsetenv("SALVOR_TEST_FAULT");
        unsetenv("SALVOR_TEST_PATIENCE");
    }
    Order OrderFor(std::int64_t id, const std::string& kind = "read") const {
        Order order;
        order.id = id;
        order.kind = kind;
        order.what = {{"subject", id}};
        order.medium = AccessTo(*medium_, {"the image"});
        return order;
    }
    std::string FirstBytes(std::int64_t sectors) const {
        std::string text;
        for (std::int64_t i = 0; i < sectors; ++i) {
            text += std::to_string(image_[static_cast<std::size_t>(i) * 512]) + ' ';
        }
        return text;
    }

    TempFolder folder_;
    Bytes image_;
    std::optional<Medium> medium_;
};

TEST_F(CrewTest, WorkersReadTheMediumThatTheyAreGivenAndWriteTheirFile) {
    std::filesystem::remove(folder_ / "image");
    Folder folder = Folder::Open(folder_.Path());
    File output = folder.Create("output");
    std::vector<Order> orders{OrderFor(1), OrderFor(2), OrderFor(3), OrderFor(4, "no such thing")};
    orders[1].output = output.Descriptor();
    Client client(orders);
    RunCrew({.workers = 2}, client);
    ASSERT_EQ(client.ends.size(), 4U);
    for (const std::int64_t id : {1, 2, 3}) {
        EXPECT_EQ(client.ends[id].ending, Ending::Done) << client.ends[id].text;
        EXPECT_EQ(client.lines[id], FirstBytes(4));
        EXPECT_EQ(client.ends[id].at.done, std::ssize(image_));
    }
    EXPECT_EQ(ReadFile(folder_ / "output"), image_);
    EXPECT_EQ(client.ends[4].ending, Ending::Failed);
    EXPECT_NE(client.ends[4].text.find("no such thing"), std::string::npos);
}

TEST_F(CrewTest, TellsHowAWorkerFallsAndWhere) {
    struct Case {
        const char* fault;
        Ending ending;
    };
    for (const Case& one : {Case{"open:2:3", Ending::Forbidden}, Case{"crash:2:3", Ending::Crashed},
                            Case{"hang:2:3", Ending::Hung}, Case{"memory:2:3", Ending::OutOfMemory}}) {
        if (one.ending == Ending::OutOfMemory && IsSanitized) {
            continue;
        }
        setenv("SALVOR_TEST_FAULT", one.fault, 1);
        if (one.ending == Ending::Hung) {
            setenv("SALVOR_TEST_PATIENCE", "2000", 1);
        } else {
            unsetenv("SALVOR_TEST_PATIENCE");
        }
        Client client({OrderFor(1), OrderFor(2)});
        RunCrew({.workers = 2}, client);
        EXPECT_EQ(client.ends[1].ending, Ending::Done) << one.fault;
        const WorkerEnd& end = client.ends[2];
        EXPECT_EQ(end.ending, one.ending) << one.fault << ": " << end.text;
        EXPECT_TRUE(IsFault(end.ending));
        EXPECT_FALSE(end.text.empty());
        EXPECT_EQ(end.at.sectors, (SectorRange{3, 1})) << one.fault;
        EXPECT_EQ(end.at.subject, 2);
        EXPECT_EQ(client.lines[2], FirstBytes(3)) << one.fault;
    }
}

TEST_F(CrewTest, WaitsForAWorkerThatMakesProgressAndLosesNoneOfItsLines) {
    Client client({OrderFor(1, "work in steps")});
    RunCrew({.workers = 1, .patience = std::chrono::milliseconds(1000)}, client);
    EXPECT_EQ(client.ends[1].ending, Ending::Done) << client.ends[1].text;
    EXPECT_EQ(client.lines[1], "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 ");
}

TEST_F(CrewTest, StopsWhenItIsAskedTo) {
    Client client({OrderFor(1, "take long"), OrderFor(2, "take long")});
    client.stopsUnderWay = true;
    RunCrew({}, client);
    ASSERT_EQ(client.ends.size(), 1U);
    EXPECT_EQ(client.ends[1].ending, Ending::Stopped);
}

}  // namespace

std::span<const WorkerKind> test::KindsForTests() {
    static const std::vector<WorkerKind> kinds = [] {
        const auto ours = WorkerKinds();
        std::vector<WorkerKind> all(ours.begin(), ours.end());
        all.push_back({"read", ReadSectors});
        all.push_back({"take long", TakesLong});
        all.push_back({"work in steps", WorksInSteps});
        return all;
    }();
    return kinds;
}

}  // namespace salvor
