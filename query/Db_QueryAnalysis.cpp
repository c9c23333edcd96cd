// The analysis of a SELECT for execution, guarding the filters it attaches.

#include "query/Db_QueryStages.h"

namespace korvan {

bool QueryAnalysis::Run() {
    m_filters.Release();
    m_params = std::make_unique<parser::QueryAnalysisParams>();
    const bool usable = m_db.AnalyzeSQL(m_text, m_params.get());
    // Conditions always go to the first FROM table.
    if (!m_params->tables.empty()) {
        m_filters.Watch(m_db.GetTableDescr(m_params->tables[0]));
    }
    return usable;
}

}  // namespace korvan
