// The store under stress from outside its process: writers killed at random moments, processes
// racing on one namespace, and files that are damaged, foreign or out of reach. Everything goes
// through the public interface on the stand-in engine; store_child is the other process.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>

#include "../integration/Integration.h"

namespace {

using namespace integration;  // handles and Open; this suite's objects have their own group
namespace fs = std::filesystem;

constexpr char kGroup[] = "reliability", kComponent[] = "tests";

int EnvironmentNumber(const char* name, int otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::atoi(value) : otherwise;
}

struct Child {
    pid_t pid;
    FILE* output;
};

// store_child with `arguments` (through the emulator when cross-compiled), its output a pipe.
Child StartChild(const std::string& arguments) {
    const std::string command = "exec " STORE_CHILD " " + arguments;
    int pipe[2];
    EXPECT_EQ(::pipe(pipe), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipe[1], STDOUT_FILENO);
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    close(pipe[1]);
    return {pid, fdopen(pipe[0], "r")};
}

// Up to `count` lines of `from`, fewer when its writer ends.
std::vector<std::string> ReadLines(FILE* from, std::size_t count = SIZE_MAX) {
    std::vector<std::string> lines;
    for (char line[64]; lines.size() < count && std::fgets(line, sizeof line, from);) {
        lines.emplace_back(line, std::strcspn(line, "\n"));
    }
    return lines;
}

// The child's wait status, 0 when it succeeded; `kill` first when given.
int End(const Child& child, int kill = 0) {
    if (kill != 0) ::kill(child.pid, kill);
    int status = 0;
    waitpid(child.pid, &status, 0);
    std::fclose(child.output);
    return status;
}

// The number store_child wrote into an object (KEY or KEY/INSTANCE), 0 when absent, -1 when it
// cannot be read: a torn document would not parse, and the integrity checks see torn pages.
long NumberOf(ConfigStoreStruct* store, std::string key) {
    const std::size_t slash = key.find('/');
    const std::string instance = slash == std::string::npos ? "" : key.substr(slash + 1);
    key = key.substr(0, slash);
    ConfigStoreObjectStruct* object = nullptr;
    const int found = Get(store, key.c_str(), kGroup, kComponent,
                          instance.empty() ? nullptr : instance.c_str(), &object);
    if (found == CS_C_NOT_FOUND) return 0;
    long long n = -1;
    const bool read = found == CS_C_OK && GetValueLonglong(object, "n", &n) == CS_C_OK;
    DestroyConfigStoreObject(object);
    return read ? n : -1;
}

// What `call` writes to standard error, through a pipe: a temporary file would meet the file
// size limits that the full-disk cases set.
std::string LogOf(const std::function<void()>& call) {
    int pipe[2];
    EXPECT_EQ(::pipe(pipe), 0);
    const int saved = dup(STDERR_FILENO);
    dup2(pipe[1], STDERR_FILENO);
    call();
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(pipe[1]);
    std::string log;
    for (char c; read(pipe[0], &c, 1) == 1;) log += c;
    close(pipe[0]);
    return log;
}

// An object as store_child writes it: number n, and a text of `size` bytes repeating it.
Object Numbered(const char* key, long n, std::size_t size) {
    std::string text;
    while (text.size() < size) text += std::to_string(n) + ".";
    const std::string document = "{\"n\": " + std::to_string(n) + ", \"text\": \"" + text + "\"}";
    return Make(key, nullptr, document.c_str(), kGroup, kComponent);
}

int Write(const char* nameSpace, const char* key, long n, std::size_t size = 5990,
          const char* context = "INTERNAL") {
    return Set(Open(nameSpace).get(), Numbered(key, n, size).get(), context);
}

// The first value `sql` yields on the SQLite file, or its error; read-only unless `write`.
std::string Sql(const fs::path& file, const char* sql, bool write = false) {
    sqlite3* db = nullptr;  // a handle even when the file does not open, for its message
    sqlite3_open_v2(file.c_str(), &db, write ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY,
                    nullptr);
    const auto keepFirst = [](void* first, int, char** values, char**) {
        auto& text = *static_cast<std::string*>(first);
        if (text.empty() && values[0] != nullptr) text = values[0];
        return 0;
    };
    std::string first;
    if (sqlite3_exec(db, sql, keepFirst, &first, nullptr) != SQLITE_OK) first = sqlite3_errmsg(db);
    sqlite3_close(db);
    return first;
}

// Each test has its own state and runtime directories; the log goes to standard error.
class Reliability : public ::testing::Test {
protected:
    void SetUp() override {
        UseDirectories(root_);
        setenv("CONFIGSTORE_LOG", "stderr", 1);
    }
    void TearDown() override {
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            if (entry.is_symlink()) continue;
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add);
        }
        fs::remove_all(root_);
    }
    static void UseDirectories(const fs::path& root) {
        fs::create_directories(root);
        setenv("CONFIGSTORE_DIR", (root / "state").c_str(), 1);
        setenv("CONFIGSTORE_RUNTIME_DIR", (root / "run").c_str(), 1);
    }
    const fs::path root_ = fs::temp_directory_path() /
                           ("reliability." + std::to_string(getpid()) + "." +
                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
};

// Scaled down by CONFIGSTOREC_CRASH_KILLS under the emulator and the sanitizers (CMakeLists.txt).
TEST_F(Reliability, KilledWritersLoseNoCommittedWrite) {
    // The objects of each write kind (number % 4) of store_child, which all hold one number: a
    // durable write, a runtime one, a transaction over both databases, a list. The runtime
    // database commits after the durable one: a transaction's cached data (tx3) may lag.
    const std::vector<std::string> kObjectsOfKind[] = {
        {"set"}, {"cached"}, {"tx0", "tx1", "tx2", "tx3"}, {"list/a", "list/b", "list/c"}};
    const int kills = EnvironmentNumber("CONFIGSTOREC_CRASH_KILLS", 200);
    std::map<std::string, long> held;  // each object's number, 0 before its first
    long next = 1, checked = 0, losses = 0;
    std::mt19937 random(7);
    for (int kill = 0; kill < kills && losses == 0; ++kill) {
        const Child child = StartChild("crash crash " + std::to_string(next));
        std::vector<std::string> lines = ReadLines(child.output, random() % 40);
        usleep(random() % 3000);  // none waited for: killed while it opens the store
        ::kill(child.pid, SIGKILL);
        for (const std::string& line : ReadLines(child.output)) lines.push_back(line);
        const int status = End(child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed with status " << WEXITSTATUS(status);
        for (const std::string& line : lines) {
            for (const std::string& object : kObjectsOfKind[std::stol(line) % 4]) {
                held[object] = std::stol(line);
            }
        }
        checked += static_cast<long>(lines.size());
        const long inFlight = lines.empty() ? next : std::stol(lines.back()) + 1;
        const Store store = Open("crash");
        for (std::size_t kind = 0; kind < std::size(kObjectsOfKind); ++kind) {
            const long first = NumberOf(store.get(), kObjectsOfKind[kind][0]);
            for (const std::string& object : kObjectsOfKind[kind]) {
                const long n = NumberOf(store.get(), object);
                const bool fine =
                    (n == held[object] || (n == inFlight && std::size_t(inFlight % 4) == kind)) &&
                    (n == first || object == "tx3");
                losses += fine ? 0 : 1;
                EXPECT_TRUE(fine) << object << " holds " << n << " after kill " << kill
                                  << ", committed " << held[object] << ", in flight " << inFlight;
                held[object] = n;
            }
        }
        next = inFlight + 1;
        for (const char* directory : {"state", "run"}) {
            ASSERT_EQ(Sql(root_ / directory / "crash.db", "PRAGMA integrity_check"), "ok");
        }
    }
    std::printf("crash safety: %d kills survived, %ld losses, %ld committed writes checked\n",
                kills, losses, checked);
}

// Eight processes at once each make the first writes of a namespace that does not exist yet: a
// counter incremented in a transaction, which makes read-modify-write safe, and an object of their
// own. Each succeeds, no writer gives up while another holds the store for less than its busy
// timeout, each write stays, and the files are the owner's alone whatever the umask. Fewer
// rounds under the emulator and the sanitizers (CMakeLists.txt); CONFIGSTOREC_CREATION_ROUNDS
// chooses another number.
TEST_F(Reliability, FirstUsersCreatingAStoreTogetherLoseNothing) {
    const int processes = 8,
              rounds = EnvironmentNumber("CONFIGSTOREC_CREATION_ROUNDS", CREATION_ROUNDS);
    const mode_t umaskBefore = umask(0);
    long lost = 0, failed = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::string nameSpace = "new" + std::to_string(round);
        std::vector<Child> children;
        for (int i = 0; i < processes; ++i) {
            children.push_back(StartChild("first " + nameSpace + " p" + std::to_string(i)));
        }
        long succeeded = 0, kept = 0;
        for (const Child& child : children) succeeded += End(child) == 0 ? 1 : 0;
        const Store store = Open(nameSpace.c_str());
        for (int i = 0; i < processes; ++i) {
            kept += NumberOf(store.get(), "p" + std::to_string(i)) == 1 ? 1 : 0;
        }
        failed += processes - succeeded;
        lost += std::max(0L, succeeded - kept) +
                std::max(0L, succeeded - NumberOf(store.get(), "counter"));
        for (const char* file : {"state/new0.db", "state/new0.db-wal", "state/new0.db-shm",
                                 "run/new0.db", "run/new0.db-wal", "run/new0.db-shm"}) {
            struct stat status {};
            EXPECT_TRUE(round > 0 || (lstat((root_ / file).c_str(), &status) == 0 &&
                                      (status.st_mode & 07777) == 0600))
                << file;
        }
    }
    umask(umaskBefore);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(failed, 0);
    std::printf(
        "concurrent creation: %d new stores, %d first users each, %ld writes lost, "
        "%ld failed\n",
        rounds, processes, lost, failed);
}

// Every file and directory under `root`: its bytes, mode and modification time. Empty journals
// that a failed open leaves, which nobody could take for data, do not count.
std::map<std::string, std::string> FilesUnder(const fs::path& root) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        struct stat status {};
        lstat(entry.path().c_str(), &status);
        const fs::path ending = entry.path().extension();
        if ((ending == ".db-wal" || ending == ".db-shm") && status.st_size == 0) continue;
        std::string& file = files[entry.path()];
        file = std::to_string(status.st_mode) + " ";  // a directory's time changes with its entries
        std::ifstream bytes(entry.path(), std::ios::binary);
        if (S_ISREG(status.st_mode)) {
            file += std::to_string(status.st_mtim.tv_nsec) + " ";
            file.append(std::istreambuf_iterator<char>(bytes), {});
        }
    }
    return files;
}

// Root passes every permission check; without these capabilities the modes hold for it too.
void DropPermissionOverride() {
    if (geteuid() != 0) return;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    for (auto* set : {&data[0].effective, &data[0].permitted}) {
        *set &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
    }
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
}

void Overwrite(const fs::path& file, std::size_t at, std::size_t size) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(static_cast<std::streamoff>(at));
    std::mt19937 random(1);
    for (std::size_t i = 0; i < size; ++i) stream.put(static_cast<char>(random()));
}

int OpenStore() {
    ConfigStoreStruct* store = nullptr;
    const int status = GetStore("damaged", &store);
    const Store opened(store, DestroyStore);
    return status;
}

// Fails at the commit, the store's write lock held (the limit leaves room for the undo record of
// the write, whose savepoint copies the pages it changes): the cancel has nothing to undo.
int CommitBig() {
    const Store store = Open("damaged");
    EXPECT_EQ(BeginTransaction(store.get()), CS_C_OK);
    EXPECT_EQ(Set(store.get(), Numbered("more", 2, 100000).get(), "INTERNAL"), CS_C_OK);
    const int status = CommitTransaction(store.get());
    EXPECT_EQ(CancelTransaction(store.get()), CS_C_OK);
    return status;
}

// Durable data reads without the runtime database; an EXTERNAL write needs its boot status.
int ReadThenWriteExternal() {
    EXPECT_EQ(NumberOf(Open("damaged").get(), "kept"), 1);
    return Write("damaged", "kept", 2, 5990, "EXTERNAL");
}

// A damaged or unreachable store (namespace "damaged"): the call that meets it fails with a
// status and one log line naming the failure and the file, and leaves every file as it was.
TEST_F(Reliability, DamagedOrUnreachableFilesAreRefusedUntouched) {
    DropPermissionOverride();
    struct Damage {
        const char* name;
        std::function<void(const fs::path& database)> make;
        std::function<int()> meet;             // fails with CS_C_STORE_ERROR
        std::string logged;                    // in the log line, paths under the case's directory
        rlim_t fileSizeLimit = RLIM_INFINITY;  // a full disk: files cannot grow beyond it
    };
    const auto made = [](const fs::path&) { ASSERT_EQ(Write("damaged", "kept", 1), CS_C_OK); };
    const std::string damaged = "Failed integrity check on the database: state/damaged.db: ";
    const std::string unopened = "Failed to open database state/damaged.db: ";
    const std::string full =
        "Failed to commit transaction: disk I/O error (SQLite code 778, state/damaged.db)";
    // clang-format off
    const Damage damages[] = {
        {"truncated", [&](const fs::path& file) { made(file); fs::resize_file(file, fs::file_size(file) / 2); },
         OpenStore, damaged + "the file is damaged: database disk image is malformed"},
        {"damaged-page-write", [&](const fs::path& file) { made(file); Overwrite(file, 8192 + 8, 100); },
         [] { return Write("damaged", "kept", 2); }, damaged + "the file is damaged: database disk image is malformed"},
        {"damaged-page-checked", [&](const fs::path& file) { made(file); Overwrite(file, 8192 + 8, 100); },
         [] { setenv("CONFIGSTORE_CHECK", "full", 1); return OpenStore(); }, damaged + "the file is damaged: On tree page 2"},
        {"newer-format", [&](const fs::path& file) { made(file); Sql(file, "PRAGMA user_version = 5", true); },
         OpenStore, damaged + "store format 5 is not 4"},
        {"read-only-file", [&](const fs::path& file) { made(file); fs::permissions(file, fs::perms::owner_read); },
         OpenStore, unopened + "the file is read-only"},
        {"full-disk-new-store", [](const fs::path&) {}, OpenStore, unopened + "disk I/O error: File too large", 0},
        {"full-disk-write", made, [] { return Write("damaged", "more", 2, 100000); }, full, 65536},
        {"full-disk-read", made, OpenStore, unopened + "disk I/O error", 0},
        {"full-disk-commit", made, CommitBig, full, 131072},
        {"zero-length", [&](const fs::path& file) { made(file); fs::resize_file(file, 0); },
         OpenStore, damaged + "not a configuration store database"},
        {"dangling-link", [](const fs::path& file) { fs::create_directories(file.parent_path() / "../elsewhere"); fs::create_symlink("../elsewhere/x.db", file); },
         OpenStore, unopened + "a symbolic link, which the store does not follow"},
        {"directory-others-write", [](const fs::path& file) { fs::permissions(file.parent_path(), fs::perms::all); },
         OpenStore, unopened + "its directory state is writable by other users"},
        {"directory-of-another-user", [](const fs::path& file) { ASSERT_EQ(chown(file.parent_path().c_str(), 1, 1), 0); },
         OpenStore, unopened + "its directory state belongs to another user"},
        {"runtime-unwritable", [&](const fs::path& file) { made(file); fs::remove(file.parent_path() / "../run/damaged.db"); fs::permissions(file.parent_path() / "../run", fs::perms::owner_read | fs::perms::owner_exec); },
         ReadThenWriteExternal, "Failed to open database run/damaged.db: its directory run is not writable"},
    };
    // clang-format on
    signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.name);
        const fs::path root = root_ / damage.name;
        UseDirectories(root);
        fs::create_directories(root / "state"), fs::create_directories(root / "run");
        damage.make(root / "state" / "damaged.db");
        const auto before = FilesUnder(root);
        const rlimit limit{std::min(damage.fileSizeLimit, unlimited.rlim_cur), unlimited.rlim_max};
        int status = -1;
        const std::string log = LogOf([&] {
            setrlimit(RLIMIT_FSIZE, &limit);
            status = damage.meet();
            unsetenv("CONFIGSTORE_CHECK");
            setrlimit(RLIMIT_FSIZE, &unlimited);
        });
        EXPECT_EQ(status, CS_C_STORE_ERROR) << log;
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        std::string line = log;
        for (std::size_t at; (at = line.find(root.string() + "/")) != std::string::npos;) {
            line.erase(at, root.string().size() + 1);
        }
        EXPECT_NE(line.find(damage.logged), std::string::npos) << log;
        EXPECT_EQ(FilesUnder(root), before);
    }
    // Space again: the store kept what it held and takes writes.
    UseDirectories(root_ / "full-disk-write");
    EXPECT_EQ(Write("damaged", "more", 2, 100000), CS_C_OK);
    EXPECT_EQ(NumberOf(Open("damaged").get(), "kept"), 1);
}

// A transaction or a boot status that another process holds refuses a write, with the reason
// logged: a transaction held beyond the busy timeout, a boot status while its setter lives.
// Killed, the holder leaves no boot status behind (the crash test shows that it leaves its
// transaction undone). A boot status of the runtime database's earlier format, whose setter is
// unknown, lasts until it is cleared.
TEST_F(Reliability, AHolderRefusesWritesUntilItEnds) {
    setenv("CONFIGSTORE_NAMESPACE", "held", 1);
    struct Hold {
        const char* command;
        const char* context;
        std::string logged;
    };
    const Hold holds[] = {
        {"hold", "INTERNAL",
         "configstore: Set: Failed to start transaction: database is locked (SQLite code 5, " +
             (root_ / "state" / "held.db").string() + ")\n"},
        {"boot", "EXTERNAL",
         "configstore: Set: API cannot be invoked with EXTERNAL context during boot\n"}};
    for (const Hold& hold : holds) {
        const Child holder = StartChild(std::string(hold.command) + " held booted");
        EXPECT_EQ(ReadLines(holder.output, 1), std::vector<std::string>{"ready"});
        EXPECT_EQ(LogOf([&] {
                      EXPECT_EQ(Write("held", "booted", 1, 5990, hold.context), CS_C_STORE_ERROR);
                  }),
                  hold.logged);
        End(holder, SIGKILL);
        EXPECT_EQ(Write("held", "booted", 2, 5990, hold.context), CS_C_OK);
    }
    Sql(root_ / "run" / "held.db",
        "ALTER TABLE boot DROP COLUMN pid; ALTER TABLE boot DROP COLUMN started; PRAGMA"
        " user_version = 1; INSERT INTO boot VALUES('booted', 'reliability', 'tests', '');",
        true);
    EXPECT_EQ(Write("held", "booted", 3, 5990, "EXTERNAL"), CS_C_STORE_ERROR);
    EXPECT_EQ(SetBootStatus("booted", kGroup, kComponent, nullptr, false), CS_C_OK);
    EXPECT_EQ(Write("held", "booted", 4, 5990, "EXTERNAL"), CS_C_OK);
    EXPECT_EQ(Sql(root_ / "run" / "held.db", "PRAGMA user_version"), "3");
    unsetenv("CONFIGSTORE_NAMESPACE");
}

}  // namespace
