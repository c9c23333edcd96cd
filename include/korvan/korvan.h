// korvan/korvan.h - the whole public interface of the korvan library.
#pragma once

#include <korvan/database.h>
#include <korvan/model.h>
#include <korvan/odbc.h>
#include <korvan/platform.h>
#include <korvan/query.h>
#include <korvan/recordset.h>
