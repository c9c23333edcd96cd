// Access records: typed column values, rows of them with name lookups and
// typed getters, and the order of rows on key columns.
#include <korvan/model.h>
#include <korvan/odbc.h>

#include <algorithm>

namespace {

// "A.B.C" matches name when name is "A.B.C", "B.C" or "C".
bool NameMatches(const CString& column, const wchar_t* name) {
    if (column == name) {
        return true;
    }
    for (int dot = column.Find(L'.'); dot >= 0; dot = column.Find(L'.', dot + 1)) {
        if (column.Mid(dot + 1) == name) {
            return true;
        }
    }
    return false;
}

}  // namespace

// ---------------------------------------------------------------------------
// DBACCESS_COLUMN

DBACCESS_COLUMN::DBACCESS_COLUMN() : DBACCESS_COLUMN(L"") {}

DBACCESS_COLUMN::DBACCESS_COLUMN(const wchar_t* columnName)
    : longValue(0),
      doubleValue(0),
      shortValue(0),
      floatValue(0),
      intValue(0),
      type(typeNone),
      name(columnName) {}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(int value) {
    intValue = value;
    type = typeInt;
    m_null = false;
    return *this;
}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(bool value) {
    return *this = static_cast<int>(value ? 1 : 0);
}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(long value) {
    longValue = static_cast<LONG>(value);
    type = typeLong;
    m_null = false;
    return *this;
}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(float value) {
    floatValue = value;
    type = typeFloat;
    m_null = false;
    return *this;
}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(double value) {
    doubleValue = value;
    type = typeDouble;
    m_null = false;
    return *this;
}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(const CString& value) {
    stringValue = value;
    type = typeString;
    m_null = false;
    return *this;
}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(const wchar_t* value) {
    return *this = CString(value);
}

DBACCESS_COLUMN& DBACCESS_COLUMN::operator=(const CByteArray& value) {
    binaryValue.Copy(value);
    type = typeBinary;
    m_null = false;
    return *this;
}

void DBACCESS_COLUMN::Set(const CDBVariant& value) {
    switch (value.m_dwType) {
        case DBVT_NULL:
            *this = CString();
            m_null = true;
            return;
        case DBVT_BOOL:
            *this = static_cast<int>(value.m_boolVal);
            return;
        case DBVT_SHORT:
            shortValue = value.m_iVal;
            type = typeShort;
            break;
        case DBVT_LONG:
            *this = static_cast<long>(value.m_lVal);
            return;
        case DBVT_SINGLE:
            *this = value.m_fltVal;
            return;
        case DBVT_DOUBLE:
            *this = value.m_dblVal;
            return;
        case DBVT_STRING:
        case DBVT_WSTRING:
            *this = value.m_pstring != nullptr ? *value.m_pstring : CString();
            return;
        case DBVT_ASTRING:
            *this = value.m_pstringA != nullptr ? CString(value.m_pstringA->c_str()) : CString();
            return;
        case DBVT_BINARY:
            if (value.m_pbinary == nullptr) {
                return;
            } else {
                const CByteArray& block = value.m_pbinary->m_hData;
                const auto length = static_cast<int64_t>(std::min<uint64_t>(
                    value.m_pbinary->m_dwDataLength, static_cast<uint64_t>(block.GetSize())));
                binaryValue.SetSize(length);
                std::copy(block.GetData(), block.GetData() + length, binaryValue.GetData());
                type = typeBinary;
            }
            break;
        default:
            type = typeNone;
            break;
    }
    m_null = false;
}

bool DBACCESS_COLUMN::operator==(const DBACCESS_COLUMN& other) const {
    return longValue == other.longValue && shortValue == other.shortValue &&
           floatValue == other.floatValue && doubleValue == other.doubleValue &&
           stringValue == other.stringValue && intValue == other.intValue && type == other.type &&
           name == other.name;
}

bool DBACCESS_COLUMN::equal(const DBACCESS_COLUMN& other) const {
    switch (type) {
        case typeInt:
            return intValue == other.intValue;
        case typeShort:
            return shortValue == other.shortValue;
        case typeLong:
            return longValue == other.longValue;
        case typeFloat:
            return floatValue == other.floatValue;
        case typeDouble:
            return doubleValue == other.doubleValue;
        case typeString:
            return stringValue == other.stringValue;
        default:
            return false;
    }
}

bool DBACCESS_COLUMN::operator<(const DBACCESS_COLUMN& other) const {
    switch (type) {
        case typeInt:
            return intValue < other.intValue;
        case typeShort:
            return shortValue < other.shortValue;
        case typeLong:
            return longValue < other.longValue;
        case typeFloat:
            return floatValue < other.floatValue;
        case typeDouble:
            return doubleValue < other.doubleValue;
        case typeString:
            return stringValue.Compare(other.stringValue) < 0;
        default:
            return false;
    }
}

bool DBACCESS_COLUMN::operator>(const DBACCESS_COLUMN& other) const {
    return !(*this == other) && !(*this < other);
}

// ---------------------------------------------------------------------------
// DBACCESS_RECORD

IDbParamValues::~IDbParamValues() = default;
DBACCESS_RECORD::~DBACCESS_RECORD() = default;

int DBACCESS_RECORD::findIdx(const wchar_t* name) const {
    for (size_t i = 0; i < columns.size(); ++i) {
        if (NameMatches(columns[i].name, name)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

DBACCESS_COLUMN& DBACCESS_RECORD::find(const wchar_t* name) {
    static DBACCESS_COLUMN fallback;
    const int i = findIdx(name);
    return i >= 0 ? columns[static_cast<size_t>(i)] : fallback;
}

const DBACCESS_COLUMN& DBACCESS_RECORD::find(const wchar_t* name) const {
    static const DBACCESS_COLUMN fallback;
    const int i = findIdx(name);
    return i >= 0 ? columns[static_cast<size_t>(i)] : fallback;
}

DBACCESS_COLUMN& DBACCESS_RECORD::operator[](const wchar_t* name) {
    if (findIdx(name) < 0) {
        columns.emplace_back(name);
    }
    return find(name);
}

const CByteArray& DBACCESS_RECORD::GetBinary(const wchar_t* name) const {
    return find(name).binaryValue;
}

int DBACCESS_RECORD::GetBool(const wchar_t* name) const {
    return find(name).intValue;
}

// The four bytes that begin at the short slot: the short itself and two zero
// bytes after it, read as one 32-bit value.
int DBACCESS_RECORD::GetInt(const wchar_t* name) const {
    return static_cast<int>(static_cast<uint16_t>(find(name).shortValue));
}

LONG DBACCESS_RECORD::GetLong(const wchar_t* name) const {
    return find(name).longValue;
}

float DBACCESS_RECORD::GetFloat(const wchar_t* name) const {
    return find(name).floatValue;
}

double DBACCESS_RECORD::GetDouble(const wchar_t* name) const {
    return find(name).doubleValue;
}

CString DBACCESS_RECORD::GetString(const wchar_t* name) const {
    return find(name).stringValue;
}

float DBACCESS_RECORD::GetFloatEx(const wchar_t* name, const wchar_t* altName) const {
    if (findIdx(name) >= 0) {
        return GetFloat(name);
    }
    if (findIdx(altName) >= 0) {
        return GetFloat(altName);
    }
    return 0.0f;
}

bool DBACCESS_RECORD::GetParam(const wchar_t* name, double& value) const {
    const int i = findIdx(name);
    if (i < 0) {
        return false;
    }
    value = columns[static_cast<size_t>(i)].doubleValue;
    return true;
}

IDbParamValues& DBACCESS_RECORD::SetParam(const wchar_t* name, double value) {
    (*this)[name] = value;
    return *this;
}

bool DBACCESS_RECORD::operator==(const DBACCESS_RECORD& other) const {
    for (size_t i = 0; i < other.columns.size(); ++i) {
        if (i >= columns.size() || columns[i] != other.columns[i]) {
            return false;
        }
    }
    return true;
}

bool DBACCESS_RECORD::Less(const DBACCESS_RECORD& a, const DBACCESS_RECORD& b,
                           const std::vector<int>& keys) {
    for (int key : keys) {
        const DBACCESS_COLUMN& left = a[key];
        const DBACCESS_COLUMN& right = b[key];
        if (left < right) {
            return true;
        }
        if (left != right) {
            return false;
        }
    }
    return false;
}
