// sql_faults - a file layer under SQLite that fails when a test says so: full, broken, without a way to force data out.
// It never waits for the disk.
#pragma once

// Installs the layer as the default for files opened from now on; once per process, harmless to repeat.
void sql_faults_install();

// The changing operation (write, sync, truncate, delete) after `count` good ones, and every one after it, fails with
// `code` until sql_faults_clear. The calls are counted for all files together.
void sql_faults_after(int count, int code);
void sql_faults_clear();

// Likewise for reads, which are counted by themselves.
void sql_faults_read_after(int count, int code);
int sql_faults_reads_counted();

// Changing operations since the last sql_faults_after or sql_faults_clear.
int sql_faults_counted();
