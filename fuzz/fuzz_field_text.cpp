// libFuzzer target: the conversions of text to the values of every field
// type, and of values back to text.
//
// Each input is one text, converted for a field of every type in the three
// ways a cell gets a value from text: the descriptor's own conversion (the
// one files are read with), ValueFromString with a CString, and SetValue with
// a text variant. Then:
//  - nothing crashes, whatever the text;
//  - the text form of a value is a fixed point: converted again the same way
//    it gives a value of the same type with the same text form (what makes a
//    saved file read back as it was saved); a float's only from its second
//    trip on (see CheckFixedPoint); SetValue into a binary field aside, which
//    takes a text as its own bytes;
//  - a real keeps its value up to the digits its text form has (15
//    significant digits for a double, 7 for a float);
//  - the three ways agree where they are meant to: ValueFromString with a
//    CString and SetValue always (binary fields aside, which only the first
//    two decode), and the descriptor's conversion too for texts without an
//    embedded NUL that need neither of its real-number rules (an empty text
//    read as 0, a "," read as the decimal separator).

#include "fuzz/fuzz_support.h"
#include "model/Db_DecimalSeparator.h"

#include <cmath>
#include <string>

using korvan::fuzz::Check;

namespace {

constexpr VARTYPE kBinary = VT_ARRAY | VT_UI1;
constexpr VARTYPE kFieldTypes[] = {VT_I2, VT_I4, VT_R4, VT_R8, VT_DATE, VT_BSTR, VT_BOOL, kBinary};

enum class Way { Descriptor, FromCString, SetValue };

DbFieldValue Convert(const DbFieldDescr& descr, const CString& text, Way way) {
    DbFieldValue cell(nullptr, 0);
    switch (way) {
        case Way::Descriptor:
            cell.ValueFromString(descr, text.GetString());
            break;
        case Way::FromCString:
            cell.ValueFromString(descr, text);
            break;
        case Way::SetValue:
            cell.GetVariant() = descr.GetValue();
            cell.SetValue(CComVariant(text));
            break;
    }
    return cell;
}

std::string Shown(const DbFieldValue& cell) {
    return korvan::fuzz::Describe(cell);
}

// How far a real may move when written with its text form's digits and read
// back: half a unit of the last digit, one rounding to the type, and the
// smallest step of the type near zero.
void CheckRealKept(const CComVariant& before, const CComVariant& after, const std::string& what) {
    const bool isFloat = before.vt == VT_R4;
    const double a = isFloat ? before.fltVal : before.dblVal;
    const double b = isFloat ? after.fltVal : after.dblVal;
    const double relative = isFloat ? 5e-7 + 6e-8 : 5e-15 + 2.3e-16;
    const double smallest = isFloat ? 1.5e-45 : 5e-324;
    Check(std::fabs(a - b) <= std::fabs(a) * relative + smallest,
          "a real moves more than its text form's digits allow", what);
}

void CheckFixedPoint(const DbFieldDescr& descr, const CString& text, Way way) {
    DbFieldValue value = Convert(descr, text, way);
    // A float's 7 significant digits may name its neighbour instead (at the
    // top of a decade, where the decimal step is finer than the float's),
    // whose text differs in the last digit; from there on it stays. So a
    // float gets one trip more to settle.
    for (int tripsLeft = value.GetType() == VT_R4 ? 2 : 1;; --tripsLeft) {
        CString shown;
        value.ValueToString(shown);
        const DbFieldValue again = Convert(descr, shown, way);
        const std::string what = "field type " + std::to_string(descr.GetType()) + ", way " +
                                 std::to_string(static_cast<int>(way)) + ": " + Shown(value) +
                                 " read back as " + Shown(again);
        Check(again.GetType() == value.GetType(),
              "the text form of a value reads back to another type", what);
        if (value.GetType() == VT_R4 || value.GetType() == VT_R8) {
            CheckRealKept(value.GetValue(), again.GetValue(), what);
        }
        if (tripsLeft == 1) {
            Check(Shown(again) == Shown(value),
                  "the text form of a value does not read back to the same", what);
            return;
        }
        value = again;
    }
}

// Whether the descriptor's real-number rules could change the outcome.
bool NeedsRealRules(const CString& text) {
    return text.IsEmpty() || text.Find(L',') >= 0 || korvan::ProcessDecimalSeparator() != L'.';
}

void CheckWaysAgree(const DbFieldDescr& descr, const CString& text) {
    const DbFieldValue fromCString = Convert(descr, text, Way::FromCString);
    const std::string what = "field type " + std::to_string(descr.GetType()) + ": " +
                             Shown(fromCString) + " from a CString";
    if (descr.GetType() != kBinary) {
        const DbFieldValue set = Convert(descr, text, Way::SetValue);
        Check(Shown(set) == Shown(fromCString), "SetValue converts text differently",
              what + ", " + Shown(set) + " set");
    }
    const bool real = descr.GetType() == VT_R4 || descr.GetType() == VT_R8;
    if (text.str().find(L'\0') == std::wstring::npos && !(real && NeedsRealRules(text))) {
        const DbFieldValue own = Convert(descr, text, Way::Descriptor);
        Check(Shown(own) == Shown(fromCString), "the descriptor's conversion differs",
              what + ", " + Shown(own) + " by the descriptor");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const CString text = korvan::fuzz::Text(data, size);
    for (const VARTYPE type : kFieldTypes) {
        DbFieldDescr descr;
        descr.SetType(type);
        CheckFixedPoint(descr, text, Way::Descriptor);
        CheckFixedPoint(descr, text, Way::FromCString);
        // SetValue takes a text variant into a binary field as the text's
        // own bytes, not as base64: no text form of those reads back.
        if (type != kBinary) {
            CheckFixedPoint(descr, text, Way::SetValue);
        }
        CheckWaysAgree(descr, text);
    }
    return 0;
}
