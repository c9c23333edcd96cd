// korvan/korvan.h - the whole public interface of the korvan library.
#pragma once

#include <korvan/platform.h>
#include <korvan/model.h>
#include <korvan/query.h>
#include <korvan/database.h>
