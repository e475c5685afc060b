// What the simulator adapter needs to know about the flight booked on the
// website: the booked aircraft type and load, and the nearest-airport query.
// The server link provides it.
//
// Threads: the client thread.
#pragma once

class CBookedFlight {
public:
    virtual ~CBookedFlight() = default;

    // The booked aircraft type: number of engines and maximum take-off weight.
    virtual int getBookedEngines() const = 0;
    virtual int getBookedMtowKg() const = 0;
    // The booked type's dry operating weight.
    virtual int getDryOperatingWeightKg() const = 0;
    // The load of the booked flight.
    virtual int getPassengers() const = 0;
    virtual int getCargoKg() const = 0;
    // Asks the website for the airport nearest to the position and writes its
    // ICAO code (at most 4 letters and the terminator) into icao. May take as
    // long as a web request takes.
    virtual bool findNearestAirport(double latitudeDeg, double longitudeDeg, char icao[5]) = 0;
};
