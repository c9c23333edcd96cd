// Whole databases through PostgreSQL's ODBC driver, on the throwaway cluster
// the test run starts.
#include "odbc_tests.h"
