// Builds the example catalogue of structural steel sections through the
// public korvan API and writes it as an XML database file.
//
//   build_catalogue [output.xml]     (default: sections.xml)
//
// Dimensions are the nominal ones of the European section tables; areas, mass
// per metre (steel density 7850 kg/m3), second moments of area and elastic
// section moduli are computed from those dimensions. Root fillets are
// counted; the taper of channel flanges and the toe radii of angles are not,
// so the figures are close to, but not exactly, the tabulated ones.
#include <korvan/korvan.h>

#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDensity = 7850.0;  // kg/m3

double Round(double value, int decimals) {
    const double scale = std::pow(10.0, decimals);
    return std::round(value * scale) / scale;
}

// Section figures in catalogue units, from dimensions in mm.
struct Figures {
    double area;    // cm2
    double mass;    // kg/m
    double iy, iz;  // cm4
    double wy, wz;  // cm3
};

Figures FromMillimetres(double area, double iy, double iz, double wy, double wz) {
    return {Round(area / 100.0, 2), Round(area * 1e-6 * kDensity, 1),
            Round(iy / 1e4, 1),     Round(iz / 1e4, 1),
            Round(wy / 1e3, 1),     Round(wz / 1e3, 1)};
}

// A rectangle of the section: size and centre, in mm.
struct Part {
    double width, height, x, y;
};

// Area, centroid and second moments of area of a section made of
// rectangles; a root fillet counts as a small square of the same area at the
// fillet's centroid.
struct Section {
    std::vector<Part> parts;
    double Area() const {
        double a = 0;
        for (const Part& p : parts) {
            a += p.width * p.height;
        }
        return a;
    }
    void Fillet(double r, double cornerX, double cornerY, double signX, double signY) {
        // The spandrel between two legs meeting at the corner: area
        // (1 - pi/4) r2, its centroid 0.2234 r from both legs.
        const double side = std::sqrt((1.0 - kPi / 4.0)) * r;
        parts.push_back({side, side, cornerX + signX * 0.2234 * r, cornerY + signY * 0.2234 * r});
    }
    double CentroidX() const {
        double s = 0;
        for (const Part& p : parts) {
            s += p.width * p.height * p.x;
        }
        return s / Area();
    }
    double CentroidY() const {
        double s = 0;
        for (const Part& p : parts) {
            s += p.width * p.height * p.y;
        }
        return s / Area();
    }
    // About the horizontal centroidal axis (bending about y-y).
    double Iy() const {
        const double c = CentroidY();
        double i = 0;
        for (const Part& p : parts) {
            i += p.width * std::pow(p.height, 3) / 12.0 + p.width * p.height * std::pow(p.y - c, 2);
        }
        return i;
    }
    // About the vertical centroidal axis (bending about z-z).
    double Iz() const {
        const double c = CentroidX();
        double i = 0;
        for (const Part& p : parts) {
            i += p.height * std::pow(p.width, 3) / 12.0 + p.width * p.height * std::pow(p.x - c, 2);
        }
        return i;
    }
};

// A doubly symmetric I or H section centred on the origin.
Figures ISection(double h, double b, double tw, double tf, double r) {
    Section s;
    s.parts = {{b, tf, 0, (h - tf) / 2}, {b, tf, 0, -(h - tf) / 2}, {tw, h - 2 * tf, 0, 0}};
    for (double sx : {-1.0, 1.0}) {
        for (double sy : {-1.0, 1.0}) {
            s.Fillet(r, sx * tw / 2, sy * (h / 2 - tf), sx, -sy);
        }
    }
    const double iy = s.Iy(), iz = s.Iz();
    return FromMillimetres(s.Area(), iy, iz, 2 * iy / h, 2 * iz / b);
}

// A channel with its web on the left (x = 0) and parallel flanges.
Figures Channel(double h, double b, double tw, double tf, double r, double& centroid) {
    Section s;
    s.parts = {{tw, h, tw / 2, 0},
               {b - tw, tf, tw + (b - tw) / 2, (h - tf) / 2},
               {b - tw, tf, tw + (b - tw) / 2, -(h - tf) / 2}};
    s.Fillet(r, tw, h / 2 - tf, 1, -1);
    s.Fillet(r, tw, -(h / 2 - tf), 1, 1);
    const double e = s.CentroidX();
    centroid = Round(e / 10.0, 2);
    const double iy = s.Iy(), iz = s.Iz();
    return FromMillimetres(s.Area(), iy, iz, 2 * iy / h, iz / (b - e));
}

// An angle with legs a (vertical) and b (horizontal) meeting at the origin.
Figures Angle(double a, double b, double t, double r, double& ey, double& ez) {
    Section s;
    s.parts = {{t, a, t / 2, a / 2}, {b - t, t, t + (b - t) / 2, t / 2}};
    s.Fillet(r, t, t, 1, 1);
    const double cx = s.CentroidX(), cy = s.CentroidY();
    ez = Round(cx / 10.0, 2);
    ey = Round(cy / 10.0, 2);
    const double iy = s.Iy(), iz = s.Iz();
    return FromMillimetres(s.Area(), iy, iz, iy / (a - cy), iz / (b - cx));
}

// A hot-finished rectangular hollow section: outer corner radius 1.5 t,
// inner radius t.
Figures Rectangular(double h, double b, double t) {
    const double ro = 1.5 * t, ri = t;
    const double area = 2 * t * (b + h - 2 * t) - (4 - kPi) * (ro * ro - ri * ri);
    const double iy = (b * std::pow(h, 3) - (b - 2 * t) * std::pow(h - 2 * t, 3)) / 12.0;
    const double iz = (h * std::pow(b, 3) - (h - 2 * t) * std::pow(b - 2 * t, 3)) / 12.0;
    return FromMillimetres(area, iy, iz, 2 * iy / h, 2 * iz / b);
}

Figures Circular(double d, double t) {
    const double di = d - 2 * t;
    const double area = kPi / 4 * (d * d - di * di);
    const double i = kPi / 64 * (std::pow(d, 4) - std::pow(di, 4));
    return FromMillimetres(area, i, i, 2 * i / d, 2 * i / d);
}

CString Text(const char* text) {
    return CString(text);
}

// Creates a table with its fields; each field is (name, type), the first one
// being the key.
DbTableInfo* CreateTable(
    DbDatabase& db, const wchar_t* name,
    std::initializer_list<std::pair<const wchar_t*, DbFieldDescr::eFieldType>> fields) {
    DbTableInfo* table = db.CreateTable(name, DbTableInfo::TABLE);
    bool key = true;
    for (const auto& [field, type] : fields) {
        table->descr->CreateField(field, key, type);
        key = false;
    }
    return table;
}

// Appends an empty row to the table.
DbTableRow& NewRow(DbTableInfo* table) {
    return *table->data->GetRow(static_cast<int>(table->data->AddRow()));
}

void SetFigures(DbTableRow& row, const Figures& f) {
    row.SetValue(L"mass", CComVariant(f.mass));
    row.SetValue(L"area", CComVariant(f.area));
    row.SetValue(L"iy", CComVariant(f.iy));
    row.SetValue(L"iz", CComVariant(f.iz));
    row.SetValue(L"wy", CComVariant(f.wy));
    row.SetValue(L"wz", CComVariant(f.wz));
}

void SetHeader(DbDatabase& db) {
    DbTableRow& header = *db.GetTableData(CString(L"Header"))->GetRow(0);
    header.SetValue(L"category", Text("Structural steel sections"));
    header.SetValue(L"symbol", Text("STEEL-EU"));
    header.SetValue(L"title", Text("Hot-rolled and hollow structural steel sections"));
    header.SetValue(L"catalog_type", Text("sections"));
    header.SetValue(L"units_type", Text("metric"));
    header.SetValue(L"version", Text("1.0"));
    DbTableRow& properties = *db.GetTableData(CString(L"Properties"))->GetRow(0);
    properties.SetValue(L"units", Text("SI"));
    properties.SetValue(L"unit_long", Text("mm"));
    properties.SetValue(L"unit_sect", Text("cm"));
    properties.SetValue(L"unit_weight", Text("kg/m"));
    properties.SetValue(L"material", Text("structural steel, density 7850 kg/m3"));
}

const std::initializer_list<std::pair<const wchar_t*, DbFieldDescr::eFieldType>> kBeamFields = {
    {L"designation", DbFieldDescr::ftText},
    {L"mass", DbFieldDescr::ftDouble},
    {L"height", DbFieldDescr::ftDouble},
    {L"width", DbFieldDescr::ftDouble},
    {L"web_thickness", DbFieldDescr::ftDouble},
    {L"flange_thickness", DbFieldDescr::ftDouble},
    {L"root_radius", DbFieldDescr::ftDouble},
    {L"area", DbFieldDescr::ftDouble},
    {L"iy", DbFieldDescr::ftDouble},
    {L"iz", DbFieldDescr::ftDouble},
    {L"wy", DbFieldDescr::ftDouble},
    {L"wz", DbFieldDescr::ftDouble},
    {L"preferred", DbFieldDescr::ftBoolean}};

// h, b, tw, tf, r in mm.
struct Beam {
    int size;
    double h, b, tw, tf, r;
};

void SetBeam(DbTableRow& row, const Beam& beam, const wchar_t* series, bool preferred) {
    CString designation;
    designation.Format(L"%s %d", series, beam.size);
    row.SetValue(L"designation", designation);
    row.SetValue(L"height", CComVariant(beam.h));
    row.SetValue(L"width", CComVariant(beam.b));
    row.SetValue(L"web_thickness", CComVariant(beam.tw));
    row.SetValue(L"flange_thickness", CComVariant(beam.tf));
    row.SetValue(L"root_radius", CComVariant(beam.r));
    row.SetValue(L"preferred", CComVariant(preferred));
    SetFigures(row, ISection(beam.h, beam.b, beam.tw, beam.tf, beam.r));
}

void AddBeams(DbDatabase& db) {
    const Beam ipe[] = {{80, 80, 46, 3.8, 5.2, 5},       {100, 100, 55, 4.1, 5.7, 7},
                        {120, 120, 64, 4.4, 6.3, 7},     {140, 140, 73, 4.7, 6.9, 7},
                        {160, 160, 82, 5.0, 7.4, 9},     {180, 180, 91, 5.3, 8.0, 9},
                        {200, 200, 100, 5.6, 8.5, 12},   {220, 220, 110, 5.9, 9.2, 12},
                        {240, 240, 120, 6.2, 9.8, 15},   {270, 270, 135, 6.6, 10.2, 15},
                        {300, 300, 150, 7.1, 10.7, 15},  {330, 330, 160, 7.5, 11.5, 18},
                        {360, 360, 170, 8.0, 12.7, 18},  {400, 400, 180, 8.6, 13.5, 21},
                        {450, 450, 190, 9.4, 14.6, 21},  {500, 500, 200, 10.2, 16.0, 21},
                        {550, 550, 210, 11.1, 17.2, 24}, {600, 600, 220, 12.0, 19.0, 24}};
    DbTableInfo* table = CreateTable(db, L"i_beams", kBeamFields);
    for (const Beam& beam : ipe) {
        SetBeam(NewRow(table), beam, L"IPE", beam.size >= 100 && beam.size <= 500);
    }

    auto fields = std::vector(kBeamFields);
    fields.insert(fields.begin() + 1, {L"series", DbFieldDescr::ftText});
    DbTableInfo* wide = db.CreateTable(L"wide_flange_beams", DbTableInfo::TABLE);
    for (size_t i = 0; i < fields.size(); ++i) {
        wide->descr->CreateField(fields[i].first, i == 0, fields[i].second);
    }
    const Beam hea[] = {{100, 96, 100, 5, 8, 12},       {120, 114, 120, 5, 8, 12},
                        {140, 133, 140, 5.5, 8.5, 12},  {160, 152, 160, 6, 9, 15},
                        {180, 171, 180, 6, 9.5, 15},    {200, 190, 200, 6.5, 10, 18},
                        {220, 210, 220, 7, 11, 18},     {240, 230, 240, 7.5, 12, 21},
                        {260, 250, 260, 7.5, 12.5, 24}, {280, 270, 280, 8, 13, 24},
                        {300, 290, 300, 8.5, 14, 27},   {320, 310, 300, 9, 15.5, 27},
                        {340, 330, 300, 9.5, 16.5, 27}, {360, 350, 300, 10, 17.5, 27},
                        {400, 390, 300, 11, 19, 27},    {450, 440, 300, 11.5, 21, 27},
                        {500, 490, 300, 12, 23, 27},    {550, 540, 300, 12.5, 24, 27},
                        {600, 590, 300, 13, 25, 27}};
    const Beam heb[] = {{100, 100, 100, 6, 10, 12},    {120, 120, 120, 6.5, 11, 12},
                        {140, 140, 140, 7, 12, 12},    {160, 160, 160, 8, 13, 15},
                        {180, 180, 180, 8.5, 14, 15},  {200, 200, 200, 9, 15, 18},
                        {220, 220, 220, 9.5, 16, 18},  {240, 240, 240, 10, 17, 21},
                        {260, 260, 260, 10, 17.5, 24}, {280, 280, 280, 10.5, 18, 24},
                        {300, 300, 300, 11, 19, 27},   {320, 320, 300, 11.5, 20.5, 27},
                        {340, 340, 300, 12, 21.5, 27}, {360, 360, 300, 12.5, 22.5, 27},
                        {400, 400, 300, 13.5, 24, 27}, {450, 450, 300, 14, 26, 27},
                        {500, 500, 300, 14.5, 28, 27}, {550, 550, 300, 15, 29, 27},
                        {600, 600, 300, 15.5, 30, 27}};
    for (const auto& [series, beams] :
         {std::pair{L"HEA", std::vector<Beam>(std::begin(hea), std::end(hea))},
          std::pair{L"HEB", std::vector<Beam>(std::begin(heb), std::end(heb))}}) {
        for (const Beam& beam : beams) {
            DbTableRow& row = NewRow(wide);
            SetBeam(row, beam, series, beam.size <= 400);
            row.SetValue(L"series", CString(series));
        }
    }
}

void AddChannels(DbDatabase& db) {
    const Beam upn[] = {{80, 80, 45, 6, 8, 8},           {100, 100, 50, 6, 8.5, 8.5},
                        {120, 120, 55, 7, 9, 9},         {140, 140, 60, 7, 10, 10},
                        {160, 160, 65, 7.5, 10.5, 10.5}, {180, 180, 70, 8, 11, 11},
                        {200, 200, 75, 8.5, 11.5, 11.5}, {220, 220, 80, 9, 12.5, 12.5},
                        {240, 240, 85, 9.5, 13, 13},     {260, 260, 90, 10, 14, 14},
                        {280, 280, 95, 10, 15, 15},      {300, 300, 100, 10, 16, 16},
                        {320, 320, 100, 14, 17.5, 17.5}, {350, 350, 100, 14, 16, 16},
                        {380, 380, 102, 13.5, 16, 16},   {400, 400, 110, 14, 18, 18}};
    auto fields = std::vector(kBeamFields);
    fields.insert(fields.end() - 1, {L"centroid_distance", DbFieldDescr::ftDouble});
    DbTableInfo* table = db.CreateTable(L"channels", DbTableInfo::TABLE);
    for (size_t i = 0; i < fields.size(); ++i) {
        table->descr->CreateField(fields[i].first, i == 0, fields[i].second);
    }
    for (const Beam& c : upn) {
        DbTableRow& row = NewRow(table);
        CString designation;
        designation.Format(L"UPN %d", c.size);
        row.SetValue(L"designation", designation);
        row.SetValue(L"height", CComVariant(c.h));
        row.SetValue(L"width", CComVariant(c.b));
        row.SetValue(L"web_thickness", CComVariant(c.tw));
        row.SetValue(L"flange_thickness", CComVariant(c.tf));
        row.SetValue(L"root_radius", CComVariant(c.r));
        double centroid = 0;
        SetFigures(row, Channel(c.h, c.b, c.tw, c.tf, c.r, centroid));
        row.SetValue(L"centroid_distance", CComVariant(centroid));
        row.SetValue(L"preferred", CComVariant(c.size <= 300));
    }
}

void AddAngles(DbDatabase& db) {
    DbTableInfo* table = CreateTable(db, L"angles",
                                     {{L"designation", DbFieldDescr::ftText},
                                      {L"kind", DbFieldDescr::ftText},
                                      {L"leg_a", DbFieldDescr::ftDouble},
                                      {L"leg_b", DbFieldDescr::ftDouble},
                                      {L"thickness", DbFieldDescr::ftDouble},
                                      {L"root_radius", DbFieldDescr::ftDouble},
                                      {L"mass", DbFieldDescr::ftDouble},
                                      {L"area", DbFieldDescr::ftDouble},
                                      {L"e_y", DbFieldDescr::ftDouble},
                                      {L"e_z", DbFieldDescr::ftDouble},
                                      {L"iy", DbFieldDescr::ftDouble},
                                      {L"iz", DbFieldDescr::ftDouble},
                                      {L"wy", DbFieldDescr::ftDouble},
                                      {L"wz", DbFieldDescr::ftDouble},
                                      {L"preferred", DbFieldDescr::ftBoolean}});
    // Equal angles: leg and the thicknesses made for it.
    const std::pair<int, std::vector<double>> equal[] = {
        {20, {3, 4}},        {25, {3, 4, 5}},    {30, {3, 4, 5}},       {35, {4, 5}},
        {40, {3, 4, 5, 6}},  {45, {4, 5, 6}},    {50, {4, 5, 6, 7, 8}}, {60, {5, 6, 8, 10}},
        {65, {7}},           {70, {6, 7, 9}},    {75, {6, 8}},          {80, {8, 10}},
        {90, {7, 8, 9, 10}}, {100, {8, 10, 12}}, {120, {10, 12}},       {130, {12}},
        {150, {10, 12, 15}}, {160, {15}},        {180, {16, 18}},       {200, {16, 18, 20, 24}},
        {250, {28, 35}}};
    // Unequal angles: long leg, short leg and thicknesses.
    const std::tuple<int, int, std::vector<double>> unequal[] = {{30, 20, {3, 4}},
                                                                 {40, 20, {4}},
                                                                 {40, 25, {4}},
                                                                 {45, 30, {4}},
                                                                 {50, 30, {5}},
                                                                 {60, 30, {5}},
                                                                 {60, 40, {5, 6}},
                                                                 {65, 50, {5}},
                                                                 {70, 50, {6}},
                                                                 {75, 50, {6, 8}},
                                                                 {80, 40, {6, 8}},
                                                                 {80, 60, {7}},
                                                                 {100, 50, {6, 8}},
                                                                 {100, 65, {7, 8, 10}},
                                                                 {100, 75, {8, 10, 12}},
                                                                 {120, 80, {8, 10, 12}},
                                                                 {125, 75, {8, 10, 12}},
                                                                 {135, 65, {8, 10}},
                                                                 {150, 75, {9, 10, 12, 15}},
                                                                 {150, 90, {10, 12, 15}},
                                                                 {150, 100, {10, 12}},
                                                                 {200, 100, {10, 12, 15}},
                                                                 {200, 150, {12, 15}}};
    const auto add = [&](int a, int b, double t) {
        // Root radius as the section tables give it, growing with the leg.
        const double r = a <= 30    ? 3.5
                         : a <= 45  ? 5
                         : a <= 60  ? 6
                         : a <= 80  ? 8
                         : a <= 100 ? 10
                         : a <= 150 ? 12
                         : a <= 200 ? 16
                                    : 18;
        DbTableRow& row = NewRow(table);
        CString designation;
        designation.Format(L"L %dx%dx%g", a, b, t);
        row.SetValue(L"designation", designation);
        row.SetValue(L"kind", Text(a == b ? "equal" : "unequal"));
        row.SetValue(L"leg_a", CComVariant(static_cast<double>(a)));
        row.SetValue(L"leg_b", CComVariant(static_cast<double>(b)));
        row.SetValue(L"thickness", CComVariant(t));
        row.SetValue(L"root_radius", CComVariant(r));
        double ey = 0, ez = 0;
        SetFigures(row, Angle(a, b, t, r, ey, ez));
        row.SetValue(L"e_y", CComVariant(ey));
        row.SetValue(L"e_z", CComVariant(ez));
        // Stocked: about a tenth of the leg thick.
        row.SetValue(L"preferred", CComVariant(std::abs(t - a / 10.0) < 1.0));
    };
    for (const auto& [leg, thicknesses] : equal) {
        for (double t : thicknesses) {
            add(leg, leg, t);
        }
    }
    for (const auto& [a, b, thicknesses] : unequal) {
        for (double t : thicknesses) {
            add(a, b, t);
        }
    }
}

void AddHollowSections(DbDatabase& db) {
    DbTableInfo* table = CreateTable(db, L"hollow_sections",
                                     {{L"designation", DbFieldDescr::ftText},
                                      {L"shape", DbFieldDescr::ftText},
                                      {L"height", DbFieldDescr::ftDouble},
                                      {L"width", DbFieldDescr::ftDouble},
                                      {L"thickness", DbFieldDescr::ftDouble},
                                      {L"mass", DbFieldDescr::ftDouble},
                                      {L"area", DbFieldDescr::ftDouble},
                                      {L"iy", DbFieldDescr::ftDouble},
                                      {L"iz", DbFieldDescr::ftDouble},
                                      {L"wy", DbFieldDescr::ftDouble},
                                      {L"wz", DbFieldDescr::ftDouble},
                                      {L"preferred", DbFieldDescr::ftBoolean}});
    const auto add = [&](const char* shape, double h, double b, double t, const Figures& f) {
        DbTableRow& row = NewRow(table);
        CString designation;
        if (std::string(shape) == "CHS") {
            designation.Format(L"CHS %gx%g", h, t);
        } else if (h == b) {
            designation.Format(L"SHS %gx%gx%g", h, b, t);
        } else {
            designation.Format(L"RHS %gx%gx%g", h, b, t);
        }
        row.SetValue(L"designation", designation);
        row.SetValue(L"shape", Text(shape));
        row.SetValue(L"height", CComVariant(h));
        row.SetValue(L"width", CComVariant(b));
        row.SetValue(L"thickness", CComVariant(t));
        SetFigures(row, f);
        row.SetValue(L"preferred", CComVariant(t == 5 || t == 6.3 || t == 8 || t == 10));
    };
    const std::pair<double, std::vector<double>> square[] = {{40, {3, 4}},
                                                             {50, {3, 4, 5}},
                                                             {60, {4, 5, 6.3}},
                                                             {70, {5}},
                                                             {80, {4, 5, 6.3, 8}},
                                                             {90, {6.3}},
                                                             {100, {5, 6.3, 8, 10}},
                                                             {120, {6.3, 8, 10}},
                                                             {140, {8, 10}},
                                                             {150, {8, 10, 12.5}},
                                                             {160, {8, 10}},
                                                             {180, {10, 12.5}},
                                                             {200, {8, 10, 12.5, 16}},
                                                             {250, {10, 12.5, 16}},
                                                             {300, {10, 12.5, 16}},
                                                             {350, {12.5, 16}},
                                                             {400, {12.5, 16}}};
    for (const auto& [side, thicknesses] : square) {
        for (double t : thicknesses) {
            add("SHS", side, side, t, Rectangular(side, side, t));
        }
    }
    const std::tuple<double, double, std::vector<double>> rectangular[] = {
        {50, 30, {3, 4}},          {60, 40, {4, 5}},
        {80, 40, {4, 5}},          {90, 50, {5}},
        {100, 50, {4, 5, 6.3}},    {100, 60, {5, 6.3}},
        {120, 60, {5, 6.3}},       {120, 80, {6.3, 8}},
        {140, 80, {6.3, 8}},       {150, 100, {6.3, 8, 10}},
        {160, 80, {6.3, 8}},       {180, 100, {8, 10}},
        {200, 100, {6.3, 8, 10}},  {200, 120, {8, 10}},
        {250, 150, {8, 10, 12.5}}, {300, 200, {10, 12.5}},
        {400, 200, {10, 12.5, 16}}};
    for (const auto& [h, b, thicknesses] : rectangular) {
        for (double t : thicknesses) {
            add("RHS", h, b, t, Rectangular(h, b, t));
        }
    }
    const std::pair<double, std::vector<double>> circular[] = {
        {33.7, {3.2}},         {42.4, {3.2}},         {48.3, {3.2, 4}},    {60.3, {3.2, 4, 5}},
        {76.1, {3.2, 4, 5}},   {88.9, {4, 5, 6.3}},   {101.6, {5, 6.3}},   {114.3, {5, 6.3, 8}},
        {139.7, {6.3, 8, 10}}, {168.3, {6.3, 8, 10}}, {193.7, {8, 10}},    {219.1, {8, 10, 12.5}},
        {244.5, {10, 12.5}},   {273, {10, 12.5}},     {323.9, {10, 12.5}}, {355.6, {12.5, 16}},
        {406.4, {12.5, 16}},   {457, {16}},           {508, {16}}};
    for (const auto& [d, thicknesses] : circular) {
        for (double t : thicknesses) {
            add("CHS", d, d, t, Circular(d, t));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const CString file(argc > 1 ? argv[1] : "sections.xml");
    std::remove(file.ToUtf8().c_str());
    DbDatabase db;
    db.Create(file);
    SetHeader(db);
    AddBeams(db);
    AddChannels(db);
    AddAngles(db);
    AddHollowSections(db);
    int rows = 0;
    for (int i = 2; i < db.GetTablesCount(); ++i) {
        rows += static_cast<int>(db.GetTableData(static_cast<size_t>(i))->size());
    }
    if (!db.Save(file)) {
        std::fprintf(stderr, "%s\n", db.GetErrorLog().ToUtf8().c_str());
        return 1;
    }
    std::printf("%s: %d tables, %d rows\n", file.ToUtf8().c_str(), db.GetTablesCount() - 2, rows);
    return 0;
}
