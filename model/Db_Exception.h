// Throwing the library's exception from the statement that finds the fault.
//
// A DbException names a source and a line. The source is the part of the
// library as host programs know it ("Db_Database", "Db_Source", ...); the
// line is that of the throwing statement itself, so that two faults never
// report the same place. Write the throw where the fault is found, never in a
// helper that several faults share: a helper may build the message.
#pragma once

#include <korvan/model.h>

// throw new DbException(source, <line of this statement>, message).
#define KORVAN_THROW(source, message) throw new DbException((source), __LINE__, (message))

// The same with a fixed line, for the few refusals whose place host programs
// know by its figure (an unreadable source file is "Db_Source" line 222,
// whichever statement finds it).
#define KORVAN_THROW_AT(source, line, message) throw new DbException((source), (line), (message))
