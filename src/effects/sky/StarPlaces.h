// Where stars stand in the sky of a place on the earth at a time.
//
// Mean places of the equinox and epoch J2000 are carried to the date by proper motion, seen from where the earth is
// (annual parallax) and moving as it moves (aberration), and turned by precession (IAU 1976), nutation (IAU 1980) and
// the earth's rotation (sidereal time of 1982) into the horizon of the site. There is no refraction. Good to a few
// arcseconds from 1900 to 2100.
#pragma once

// A direction of unit length in the equator and equinox of J2000, with what moves it.
struct StarPosition {
    double direction[3];
    double motion[3];  // a Julian century: proper motion and, seen in perspective, the way towards or from us
    double parallax;   // radians
};

// Right ascension in hours, declination in degrees; proper motion in seconds of time and in arcseconds a century;
// parallax in arcseconds, radial velocity in km/s, positive away from us.
StarPosition star_position(double ra, double dec, double motion_ra, double motion_dec, double parallax,
                           double velocity);

struct Horizontal {
    double azimuth;   // degrees, 0 to 360, from north through east
    double altitude;  // degrees, -90 to 90
};

class StarPlaces {
  public:
    // Universal time as a Julian date; latitude in degrees, north positive; longitude in degrees, west positive.
    StarPlaces(double julian, double latitude, double west_longitude);
    Horizontal place(const StarPosition& star) const;

  private:
    double m_centuries;
    double m_earth[3], m_velocity[3];  // astronomical units; parts of the speed of light
    double m_turn[3][3];               // from the equator of J2000 to north, east, up
};
