// Q_NightSky: the night sky as it is seen from a place on the earth at a date and time.
//
// The stars of a catalogue are placed to a few arcseconds, coloured as glowing bodies of the temperature of their
// spectral class, and drawn as points or soft stars, with spokes on the bright ones. The view is a window of azimuth
// and altitude; there is no horizon.
#pragma once

#include <string_view>

#include "Library2/PluginK7.h"
#include "effects/sky/StarCatalogue.h"

struct NightSkyInfo : EffectInfo {
    static constexpr EffectTraits traits{
        .name = "NightSky",
        .menu = "Natural Phenomena",
        .generator = true,
        .description = "The night sky as viewed from a given location on Earth. This effect is in Box Number 1",
        .purpose =
            "The real stars for a night exterior: 45,000 of them to magnitude 8, where they stand above a place at a "
            "date and time, with their colours.",
        .usage =
            "Connect the plate as Background and turn Stars Only off, or key the stars in behind it.\n"
            "Set the place by Location or by hand (west is positive), the date and time, and where the camera looks: "
            "Altitude and Azimuth, which counts from north through east, are the middle of the picture.\n"
            "Month is one ahead: 1 gives the sky of December. "
            "UT Offset is added to local time.\n"
            "MagScale says how fast fainter stars fade, Magnitude which is the faintest. For a sky over a city use 3 "
            "and "
            "40, over a desert 7 and 10. Scale is the size of the brightest stars in pixels.\n"
            "Soft Stars for a lens that is a little soft, Bright Point for crisp cores, Points for one pixel a star, "
            "where brightness is in alpha.\n"
            "Twinkle gives the stars down to Range spokes, as a filter on the lens does.\n"
            "Move Over Time turns the sky as the night goes on; 100 is a minute and a bit in ten frames.\n"
            "Stars of your own are read instead of these from fk5.dat and fk5_ext.dat in the data directory.\n"
            "Sizes in pixels follow a proxy.\n"};
    enum Style { Points = 1, SoftStars = 2, BrightPoint = 3 };

    ClipRecord input{this, {.name = "Input1", .label = "Background", .shortLabel = "Back"}};

    Page page{this, "NightSky"};
    PresetChoiceK7 Demos{this,
                         {"Demos", "Type"},
                         "Sets the other controls to a view of the sky or a way of twinkling; Stars Only and Location "
                         "stay as they are."};
    CheckboxControlK7 OnBlack{this,
                              {"OnBlack", "Stars Only", true, {.keptByPresets = true}},
                              "Shows the stars alone, on transparent black, instead of over the background."};
    IntegerControlK7 LongitudeD{
        this, {"LongitudeD", "Longitude D", -4, -180, 180}, "Longitude of the place, whole degrees; west is positive."};
    FloatControlK7 LongitudeM{
        this, {"LongitudeM", "Longitude M", -54.0, -60.0, 60.0}, "Minutes of the longitude, added with their sign."};
    IntegerControlK7 LatitudeD{this,
                               {"LatitudeD", "Latitude D", 52, -90, 90},
                               "Latitude of the place, whole degrees; north is positive. Where it is negative the "
                               "longitude changes its sign."};
    FloatControlK7 LatitudeM{this,
                             {"LatitudeM", "Latitude M", 21.0, -60.0, 60.0},
                             "Minutes of the latitude, away from the equator whatever their sign."};
    FloatControlK7 Altitude{this,
                            {"Altitude", "Altitude", 32.0, -90.0, 90.0},
                            "Height of the view's middle above the horizon, in degrees."};
    FloatControlK7 Azimuth{this,
                           {"Azimuth", "Azimuth", 30.0, 0.0, 360.0},
                           "Direction of the view's middle, in degrees from north through east."};
    IntegerControlK7 Year{this, {"Year", "Year", 2001, 1900, 2297}, "Year."};
    IntegerControlK7 Month{this, {"Month", "Month", 1, 1, 12}, "Month, one ahead: 1 shows the sky of December."};
    IntegerControlK7 Day{this, {"Day", "Day", 1, 1, 31}, "Day of the month."};
    FloatControlK7 Hour{this, {"Hour", "Hour", 0.0, 0.0, 23.0}, "Local hour; fractions are cut off."};
    FloatControlK7 Minute{this, {"Minute", "Minute", 0.0, 0.0, 59.0}, "Minute of the hour."};
    FloatControlK7 UTOffset{
        this, {"UTOffset", "UT Offset", -1.0, -12.0, 12.0}, "Hours to add to local time for universal time."};
    FloatControlK7 OverTime{this,
                            {"OverTime", "Move Over Time", 0.0, -100.0, 100.0},
                            "How fast time goes on, in tenths of a minute a frame."};
    FloatControlK7 VField{this,
                          {"VField", "VField", 50.0, 0.5, 179.0},
                          "Field of view in degrees. The longer side of the picture shows about three quarters of it."};

    Page starsPage{this, "Stars"};
    IntegerControlK7 MinMag{this, {"MinMag", "Magnitude", 16, 1, 16}, "Magnitude of the faintest stars drawn."};
    FloatControlK7 MagScale{this,
                            {"MagScale", "MagScale", 10.0, 0.0, 100.0},
                            "How much fainter a star is for each magnitude: 0 not at all, 100 as in nature."};
    ListControlK7 Location{this,
                           {"Location", "Location", 0, siteNames(), {.animates = false, .keptByPresets = true}},
                           "Sets the place and UT Offset to those of a city."};
    ListControlK7 DrawStyle{this,
                            {"DrawStyle", "DrawStyle", 1, {"Points", "Soft Stars", "Bright Point"}},
                            "Stars as single pixels, as soft blobs, or as blobs with a white core."};
    CheckboxControlK7 IgnoreMag{this, {"IgnoreMag", "IgnoreMag"}, "Draws all stars as bright as the brightest."};
    FloatControlK7 IgnoreSpec{this,
                              {"IgnoreSpec", "Colour Drain", 0.0, 0.0, 100.0},
                              "How much of the stars' colour is taken away, in percent."};
    FloatControlK7 BlobScale{
        this, {"BlobScale", "Scale", 10.0, 0.0, 100.0}, "Radius of the brightest stars' blobs, in pixels."};
    FloatControlK7 Sharp{
        this, {"Sharp", "Sharpen", 20.0, 1.0, 100.0}, "Radius of the white core, in percent of the blob's."};

    Page twinklePage{this, "Twinkle"};
    CheckboxControlK7 DoStreaks{this, {"DoStreaks", "Add Twinkle"}, "Adds spokes of light to the brighter stars."};
    IntegerControlK7 Streaks{
        this,
        {"Streaks", "Twinkles", 8, 0, 8},
        "How many lines of light cross a star: the first two are long, the next two half as long, the rest short."};
    IntegerControlK7 StreakLen{
        this, {"StreakLen", "Streak Length", 14, 0, 100}, "Length of the longest spokes, in pixels."};
    FloatControlK7 StreakStrn{
        this, {"StreakStrn", "Streak Strength", 25.0, 0.0, 100.0}, "Brightness of the spokes at the star, in percent."};
    AngleControlK7 StreakRot{
        this, {"StreakRot", "Streak Rotation", 3.0, 0.0, 360.0}, "Turns the spokes, in degrees counter-clockwise."};
    IntegerControlK7 FRange{this, {"FRange", "Range", 4, 1, 16}, "Magnitude of the faintest stars that twinkle."};
    FrameRateControlK7 FramesPerSecond{this};

    NightSkyInfo();

  private:
    void declarePresets();
    static std::vector<const char*> siteNames();
};

class NightSky final : public Effect<NightSkyInfo> {
  public:
    void ProcessFrame() override;
    void InstanceCreated() override;
    void ControlChanged(ControlK7& control) override;

    // In place of those of the data directory; to be called before the first render.
    void useStars(std::vector<CatalogueStar> stars);

  private:
    struct Visible;
    void loadStars();
    void useList(StarList stars);
    StarPlaces placesNow() const;
    std::vector<Visible> visibleStars(const K7Image& frame, int faintest, double fading) const;
    void drawPoints(const std::vector<Visible>& stars, K7Image& picture) const;
    void drawBlobs(const std::vector<Visible>& stars, K7Image& picture) const;
    void addTwinkle(K7Image& picture) const;

    StarList m_stars;  // shared by the instances of the process
    std::vector<SkySite> m_sites;
    bool m_loaded = false;
};
