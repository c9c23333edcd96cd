// Helpers for the database tests: a scratch directory, whole-file I/O and
// the tables of the model tests.
#pragma once

#include <korvan/database.h>

#include <gtest/gtest.h>

#include <string>

#include "tests/model/tables.h"
#include "tests/platform/scratch_dir.h"

// Runs f and returns the message of the DbException it throws ("" when it
// throws none).
template <typename F>
std::string DbErrorOf(F&& f) {
    try {
        f();
    } catch (DbException* e) {
        const std::string message = e->Message().ToUtf8();
        e->Delete();
        return message;
    }
    return "";
}
