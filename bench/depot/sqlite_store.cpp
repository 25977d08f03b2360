// SQLite with a write-ahead log that is not forced to the disk on every change, and a data file
// beside each row.
#include <memory>
#include <stdexcept>
#include <string>

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "depot/files.h"

namespace bench {
namespace {

struct Closer {
  void operator()(sqlite3 *database) const { sqlite3_close(database); }
  void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};

using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

constexpr mode_t directoryMode = 0700;

class SqliteStore : public Store {
public:
  explicit SqliteStore(const Place &place)
      : workspace_(place.workspace), directory_(place.path + '/') {
    require(mkdir(place.path.c_str(), directoryMode) == 0, place.path);
    open();
    execute("BEGIN");
    for (uint32_t number = 0; number < place.size; ++number) {
      Entry entry = makeEntry(place.spread, number);
      require(insert(entry, true), entry.dataPath);
    }
    execute("COMMIT");
    execute("PRAGMA wal_checkpoint(TRUNCATE)");
  }

  bool find(Entry &entry) override {
    bind(select_, entry);
    const bool isFound = sqlite3_step(select_.get()) == SQLITE_ROW;
    if (isFound) {
      const auto *text = static_cast<const char *>(sqlite3_column_blob(select_.get(), 0));
      text_.assign(text, static_cast<size_t>(sqlite3_column_bytes(select_.get(), 0)));
    }
    sqlite3_reset(select_.get());
    return isFound;
  }

  bool add(Entry &entry) override { return insert(entry, false); }

  bool complete(Entry &entry) override { return change(update_, entry, tocText(entry, true)); }

  bool remove(Entry &entry) override {
    return change(delete_, entry) && unlink(entry.dataPath.c_str()) == 0;
  }

  bool withdraw(Entry &entry) override {
    return change(delete_, entry) && workspace_.bury(entry.dataPath);
  }

private:
  void open() {
    sqlite3 *database = nullptr;
    const int result =
        sqlite3_open_v2((directory_ + "entries.sqlite").c_str(), &database,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    database_.reset(database);
    check(result);
    execute("PRAGMA journal_mode = WAL");
    execute("PRAGMA synchronous = NORMAL");
    execute("CREATE TABLE entries (id TEXT, version TEXT, text BLOB, PRIMARY KEY (id, version)) "
            "WITHOUT ROWID");
    select_ = prepare("SELECT text FROM entries WHERE id = ?1 AND version = ?2");
    insert_ = prepare("INSERT OR IGNORE INTO entries VALUES (?1, ?2, ?3)");
    update_ = prepare("UPDATE entries SET text = ?3 WHERE id = ?1 AND version = ?2");
    delete_ = prepare("DELETE FROM entries WHERE id = ?1 AND version = ?2");
  }

  void check(int result) const {
    if (result != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(database_.get()));
    }
  }

  void execute(const char *sql) {
    check(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr));
  }

  Statement prepare(const char *sql) {
    sqlite3_stmt *statement = nullptr;
    check(sqlite3_prepare_v3(database_.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement,
                             nullptr));
    return Statement(statement);
  }

  static void bindText(const Statement &statement, int position, const std::string &text) {
    sqlite3_bind_text(statement.get(), position, text.data(), static_cast<int>(text.size()),
                      SQLITE_STATIC);
  }

  static void bind(const Statement &statement, const Entry &entry) {
    bindText(statement, 1, entry.id);
    bindText(statement, 2, entry.version);
  }

  // Whether it changed the entry's row.
  bool change(const Statement &statement, const Entry &entry, const std::string &text = {}) {
    bind(statement, entry);
    if (!text.empty()) {
      sqlite3_bind_blob(statement.get(), 3, text.data(), static_cast<int>(text.size()),
                        SQLITE_STATIC);
    }
    const int result = sqlite3_step(statement.get());
    sqlite3_reset(statement.get());
    return result == SQLITE_DONE && sqlite3_changes(database_.get()) == 1;
  }

  bool insert(Entry &entry, bool isComplete) {
    entry.dataPath = directory_ + entry.id + ".dat";
    return change(insert_, entry, tocText(entry, isComplete)) && makeEmptyFile(entry.dataPath);
  }

  Workspace &workspace_;
  std::string directory_;
  std::unique_ptr<sqlite3, Closer> database_;
  Statement select_, insert_, update_, delete_; // released before the database
  std::string text_;
};

} // namespace

std::unique_ptr<Store> makeSqliteStore(const Place &place) {
  return std::make_unique<SqliteStore>(place);
}

} // namespace bench
