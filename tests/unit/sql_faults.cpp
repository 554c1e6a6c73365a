#include "sql_faults.h"

#include <sqlite3.h>

#include <cstring>

namespace {

sqlite3_vfs g_layer;
sqlite3_vfs* g_real = nullptr;
struct fault_plan {
    int after = -1;
    int code = SQLITE_OK;
    int counted = 0;
};
fault_plan g_changes;
fault_plan g_reads;

// SQLite gives us room for one of these; the real file lies behind it.
struct layer_file {
    sqlite3_file base;
    sqlite3_file* real;
};

constexpr std::size_t REAL_OFFSET = (sizeof(layer_file) + 15) / 16 * 16;

sqlite3_file* real_of(sqlite3_file* file)
{
    return reinterpret_cast<layer_file*>(file)->real;
}

// SQLITE_OK where the operation may go on.
int fault(fault_plan& plan = g_changes)
{
    const bool failing = plan.after >= 0 && plan.counted >= plan.after;
    plan.counted++;
    return failing ? plan.code : SQLITE_OK;
}

int layer_close(sqlite3_file* file)
{
    return real_of(file)->pMethods->xClose(real_of(file));
}

int layer_read(sqlite3_file* file, void* to, int amount, sqlite3_int64 offset)
{
    const int ret = fault(g_reads);
    return ret != SQLITE_OK ? ret : real_of(file)->pMethods->xRead(real_of(file), to, amount, offset);
}

int layer_write(sqlite3_file* file, const void* from, int amount, sqlite3_int64 offset)
{
    const int ret = fault();
    return ret != SQLITE_OK ? ret : real_of(file)->pMethods->xWrite(real_of(file), from, amount, offset);
}

int layer_truncate(sqlite3_file* file, sqlite3_int64 size)
{
    const int ret = fault();
    return ret != SQLITE_OK ? ret : real_of(file)->pMethods->xTruncate(real_of(file), size);
}

int layer_sync(sqlite3_file*, int)
{
    return fault(); // a test's files need not survive the machine, and real syncs take most of a test's time
}

int layer_file_size(sqlite3_file* file, sqlite3_int64* size)
{
    return real_of(file)->pMethods->xFileSize(real_of(file), size);
}

int layer_lock(sqlite3_file* file, int level)
{
    return real_of(file)->pMethods->xLock(real_of(file), level);
}

int layer_unlock(sqlite3_file* file, int level)
{
    return real_of(file)->pMethods->xUnlock(real_of(file), level);
}

int layer_check_lock(sqlite3_file* file, int* result)
{
    return real_of(file)->pMethods->xCheckReservedLock(real_of(file), result);
}

int layer_control(sqlite3_file* file, int operation, void* arg)
{
    return real_of(file)->pMethods->xFileControl(real_of(file), operation, arg);
}

int layer_sector(sqlite3_file* file)
{
    return real_of(file)->pMethods->xSectorSize(real_of(file));
}

int layer_characteristics(sqlite3_file* file)
{
    return real_of(file)->pMethods->xDeviceCharacteristics(real_of(file));
}

const sqlite3_io_methods* layer_methods()
{
    static sqlite3_io_methods methods;
    methods.iVersion = 1;
    methods.xClose = layer_close;
    methods.xRead = layer_read;
    methods.xWrite = layer_write;
    methods.xTruncate = layer_truncate;
    methods.xSync = layer_sync;
    methods.xFileSize = layer_file_size;
    methods.xLock = layer_lock;
    methods.xUnlock = layer_unlock;
    methods.xCheckReservedLock = layer_check_lock;
    methods.xFileControl = layer_control;
    methods.xSectorSize = layer_sector;
    methods.xDeviceCharacteristics = layer_characteristics;
    return &methods;
}

int layer_open(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* out_flags)
{
    auto* layer = reinterpret_cast<layer_file*>(file);
    layer->real = reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(file) + REAL_OFFSET);
    const int ret = g_real->xOpen(g_real, name, layer->real, flags, out_flags);
    layer->base.pMethods = ret == SQLITE_OK ? layer_methods() : nullptr;
    return ret;
}

int layer_delete(sqlite3_vfs*, const char* name, int)
{
    const int ret = fault();
    return ret != SQLITE_OK ? ret : g_real->xDelete(g_real, name, 0);
}

} // namespace

void sql_faults_install()
{
    if (g_real != nullptr) return;
    g_real = sqlite3_vfs_find(nullptr);
    g_layer = *g_real;
    g_layer.pNext = nullptr;
    g_layer.zName = "faults";
    g_layer.szOsFile = static_cast<int>(REAL_OFFSET) + g_real->szOsFile;
    g_layer.xOpen = layer_open;
    g_layer.xDelete = layer_delete;
    sqlite3_vfs_register(&g_layer, 1);
}

void sql_faults_after(int count, int code)
{
    g_changes = {count, code, 0};
}

void sql_faults_read_after(int count, int code)
{
    g_reads = {count, code, 0};
}

void sql_faults_clear()
{
    g_changes = {};
    g_reads = {};
}

int sql_faults_counted()
{
    return g_changes.counted;
}

int sql_faults_reads_counted()
{
    return g_reads.counted;
}
