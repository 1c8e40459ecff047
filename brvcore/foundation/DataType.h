#pragma once

// Types of a data value. The numbers stand in saved documents and are final.
enum class DataType : int
{
    Integer = 0,
    Real = 1,
    String = 2,
    DateTime = 3,
    Boolean = 4,
    Date = 5,
    Null = 6,
    Spatial = 7,
    Unknown = 8,
};
