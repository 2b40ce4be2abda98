#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "messaging/support/temporary_registry.h"
#include "record/registry_records.h"

extern char** environ;

namespace {

using namespace zxt;
namespace R = ZxVariantHelper::Registry;
using Storage = zxt::TemporaryRegistry;

constexpr const char16_t* kRecordKey = u"Software\\Zexora\\Records";
constexpr const char16_t* kValueName = u"Config";

// The raw bytes of a value of kRecordKey, empty when it cannot be read.
std::vector<unsigned char> RawValue(const char16_t* name, unsigned* type = nullptr) {
  void* key = nullptr;
  unsigned size = 0;
  std::vector<unsigned char> bytes;
  if (R::OpenKey(R::CurrentUser, kRecordKey, R::KEY_READ, &key) == 0 &&
      R::QueryValue(key, name, type, nullptr, &size) == 0) {
    bytes.resize(size);
    if (R::QueryValue(key, name, type, bytes.data(), &size) != 0) bytes.clear();
  }
  R::CloseKey(key);
  return bytes;
}

int StoreRaw(const char16_t* name, const std::vector<unsigned char>& bytes) {
  void* key = nullptr;
  int code = R::CreateKey(R::CurrentUser, kRecordKey, R::KEY_ALL_ACCESS, &key);
  if (code == 0) code = R::SetValue(key, name, R::REG_BINARY, bytes.data(), static_cast<unsigned>(bytes.size()));
  R::CloseKey(key);
  return code;
}

// The record read back, null (and a failure) when ReadFromRegistry fails.
Block ReadBack(void* key, const char16_t* subkey, const char16_t* name = kValueName) {
  ZxVariant* record = nullptr;
  const int code = ReadFromRegistry(key, subkey, name, &record);
  EXPECT_EQ(code, 0);
  return Block(code == 0 ? record : nullptr);
}

// A pointer that a failed read must leave as it was.
ZxVariant* const kUntouched = reinterpret_cast<ZxVariant*>(std::uintptr_t{0x5eed});

// Starts the writer child with `args`; its standard output goes to
// `stdoutFd` when that is not -1.
pid_t SpawnWriter(std::vector<std::string> args, int stdoutFd = -1) {
  args.insert(args.begin(), ZXV_REGISTRY_RECORD_WRITER);
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (stdoutFd != -1) posix_spawn_file_actions_adddup2(&actions, stdoutFd, STDOUT_FILENO);
  pid_t pid = -1;
  const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return rc == 0 ? pid : -1;
}

int WaitFor(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

TEST_F(Storage, RecordsAreStoredZeroBasedAndReadBackEqual) {
  // Below, within and far beyond the reader's 128-byte inner buffer.
  std::vector<unsigned char> bytes(200000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 31);
  Block records[] = {StoredRecord(0), StoredRecord(1), Sample(),
                     Lay(NewBuffer(u"huge", bytes.data(), static_cast<int>(bytes.size())))};
  ASSERT_LE(records[0]->size, 128u);
  ASSERT_GT(records[1]->size, 128u);
  for (const Block& original : records) {
    ASSERT_EQ(WriteToRegistry(R::CurrentUser, kRecordKey, kValueName, original.get()), 0);
    unsigned type = 0;
    EXPECT_EQ(RawValue(kValueName, &type), Image(Block(NewCopy(original.get(), nullptr, false, true)).get()));
    EXPECT_EQ(type, R::REG_BINARY);
    const Block back = ReadBack(R::CurrentUser, kRecordKey);
    EXPECT_TRUE(IsEqual(back.get(), original.get()));
    EXPECT_TRUE(Validate(back.get()));  // pointer form at its own address
  }
}

TEST_F(Storage, WorksBelowAnOpenKeyAndWithoutASubkeyOrValueName) {
  void* key = nullptr;
  ASSERT_EQ(R::CreateKey(R::LocalMachine, u"Base", R::KEY_ALL_ACCESS, &key), 0);
  Block original = StoredRecord(1);
  ASSERT_EQ(WriteToRegistry(key, nullptr, nullptr, original.get()), 0);  // the key's default value
  ASSERT_EQ(WriteToRegistry(key, u"Deeper\\Still", kValueName, original.get()), 0);
  EXPECT_TRUE(IsEqual(ReadBack(R::LocalMachine, u"base", u"").get(), original.get()));
  EXPECT_TRUE(IsEqual(ReadBack(key, u"DEEPER\\still", u"config").get(), original.get()));
  R::CloseKey(key);
}

TEST_F(Storage, FailuresGiveTheirCodesAndLeaveTheRecordPointerAlone) {
  Block original = StoredRecord(0);
  ZxVariant* record = kUntouched;
  EXPECT_EQ(WriteToRegistry(R::CurrentUser, kRecordKey, kValueName, nullptr), R::ERROR_INVALID_DATA);
  EXPECT_EQ(ReadFromRegistry(R::CurrentUser, kRecordKey, kValueName, nullptr), R::ERROR_INVALID_PARAMETER);
  EXPECT_EQ(ReadFromRegistry(R::CurrentUser, u"No\\Such\\Key", kValueName, &record), R::ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(WriteToRegistry(R::CurrentUser, kRecordKey, kValueName, original.get()), 0);
  EXPECT_EQ(ReadFromRegistry(R::CurrentUser, kRecordKey, u"Other", &record), R::ERROR_FILE_NOT_FOUND);
  int local = 0;
  EXPECT_EQ(WriteToRegistry(&local, kRecordKey, kValueName, original.get()), R::ERROR_INVALID_HANDLE);
  EXPECT_EQ(ReadFromRegistry(&local, kRecordKey, kValueName, &record), R::ERROR_INVALID_HANDLE);
  // A database file that is no registry (a fresh path: this process keeps
  // its connection to the first file open).
  const std::string junk = Folder() + "/junk.db";
  std::ofstream(junk, std::ios::binary) << std::string(4096, 'J');
  ASSERT_EQ(setenv("ZXV_REGISTRY_PATH", junk.c_str(), 1), 0);
  EXPECT_EQ(WriteToRegistry(R::CurrentUser, kRecordKey, kValueName, original.get()), R::ERROR_BADDB);
  EXPECT_EQ(ReadFromRegistry(R::CurrentUser, kRecordKey, kValueName, &record), R::ERROR_BADDB);
  EXPECT_EQ(record, kUntouched);
}

TEST_F(Storage, BytesThatAreNoRecordAreInvalidData) {
  Block original = Sample(), zero(NewCopy(original.get(), nullptr, false, true));
  const std::vector<unsigned char> bytes = Image(zero.get());
  std::vector<unsigned char> longer = bytes, wrongSize = bytes;
  longer.push_back(0);
  Put32(wrongSize.data(), kSize, static_cast<std::uint32_t>(bytes.size() + 8));
  wrongSize.resize(bytes.size() + 8);  // consistent length, but the tree says otherwise
  Owned<ZxvBase> scalar(NewInt(u"a", 5));  // a scalar with an attribute fails the structural check
  scalar->AppendAttribute(NewInt(u"x", 1));
  Block withAttribute = Lay(*scalar);
  ASSERT_EQ(WriteToRegistry(R::CurrentUser, kRecordKey, u"Scalar", withAttribute.get()), 0);
  const std::vector<std::vector<unsigned char>> bad = {
      std::vector<unsigned char>(bytes.begin(), bytes.end() - 1), longer, {}, {64, 0, 0}, wrongSize,
      Image(original.get()),  // pointer-form bytes are not zero-based
      RawValue(u"Scalar")};
  ASSERT_EQ(bad.back().size(), withAttribute->size);
  for (std::size_t i = 0; i < bad.size(); ++i) {
    ASSERT_EQ(StoreRaw(kValueName, bad[i]), 0);
    ZxVariant* record = kUntouched;
    EXPECT_EQ(ReadFromRegistry(R::CurrentUser, kRecordKey, kValueName, &record), R::ERROR_INVALID_DATA) << i;
    EXPECT_EQ(record, kUntouched) << i;
  }
}

TEST_F(Storage, AKilledWriterLeavesTheOldOrTheNewRecord) {
  Block first = StoredRecord(0);
  ASSERT_EQ(WriteToRegistry(R::CurrentUser, kRecordKey, kValueName, first.get()), 0);
  std::mt19937 random(20240611);
  std::uniform_int_distribution<int> pauseMicroseconds(0, 15000);
  for (int round = 0; round < 16; ++round) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = SpawnWriter({"loop", "Software\\Zexora\\Records", "Config"}, ready[1]);
    close(ready[1]);
    ASSERT_GT(child, 0);
    // Kill it somewhere in its stream of writes, after the first one.
    pollfd wait{ready[0], POLLIN, 0};
    char signal = 0;
    const bool running = poll(&wait, 1, 30000) == 1 && read(ready[0], &signal, 1) == 1;
    close(ready[0]);
    if (running) usleep(static_cast<useconds_t>(pauseMicroseconds(random)));
    kill(child, SIGKILL);
    const int status = WaitFor(child);
    ASSERT_TRUE(running) << "the writer never wrote (status " << status << ")";
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "status " << status;

    const std::vector<unsigned char> stored = RawValue(kValueName);
    EXPECT_TRUE(stored.size() >= 64 && U32(stored.data(), kSize) == stored.size() &&
                ValidateZero(reinterpret_cast<const ZxVariant*>(stored.data())));
    EXPECT_TRUE(IsAStoredRecord(ReadBack(R::CurrentUser, kRecordKey).get())) << "round " << round;
  }
  // The store goes on taking writes after all the killed writers.
  EXPECT_EQ(WriteToRegistry(R::CurrentUser, kRecordKey, kValueName, first.get()), 0);
}

TEST_F(Storage, ProcessesAndThreadsWriteAndReadAtOnce) {
  constexpr int kProcesses = 3, kThreads = 2, kRounds = 25;
  std::vector<pid_t> children;
  for (int id = 0; id < kProcesses; ++id) {
    children.push_back(SpawnWriter({"churn", "Shared", "Config", std::to_string(kRounds), std::to_string(id)}));
    ASSERT_GT(children.back(), 0);
  }
  std::vector<int> failures(kThreads);
  std::vector<std::string> firsts(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &failures, &firsts] {
      failures[t] = ChurnRecords(u"Shared", u"Config", kRounds, kProcesses + t, &firsts[t]);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (pid_t child : children) {
    const int status = WaitFor(child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  }
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << firsts[t];
  EXPECT_TRUE(IsAStoredRecord(ReadBack(R::CurrentUser, u"Shared").get()));
}
