#!/usr/bin/env python3
"""Writes date_formats.csv to standard output: date-time formats as ICU itself renders them.

Needs PyICU (python3-icu) with ICU 72; other versions have other locale data.
"""

import datetime

import icu

LOCALES = {
    1033: "en_US", 1031: "de_DE", 1036: "fr_FR", 1041: "ja_JP", 1042: "ko_KR", 3073: "ar_EG",
    1049: "ru_RU", 1035: "fi_FI", 1029: "cs_CZ", 1028: "zh_TW", 3084: "fr_CA", 1054: "th_TH",
    1065: "fa_IR", 1081: "hi_IN", 1055: "tr_TR", 1038: "hu_HU", 1026: "bg_BG", 1093: "bn_IN",
}  # fmt: skip
DATE, TIME = icu.DateFormat.createDateInstance, icu.DateFormat.createTimeInstance
SHORT, MEDIUM, LONG = icu.DateFormat.kShort, icu.DateFormat.kMedium, icu.DateFormat.kLong
# Our format, and ICU's pattern or the formatter that has it. What has no separators of the locale can be compared.
FORMATS = {
    "ddddd": lambda locale: DATE(SHORT, locale),
    "dddddd": lambda locale: DATE(LONG, locale),
    "ttttt": lambda locale: TIME(MEDIUM, locale),
    "c": lambda locale: icu.DateFormat.createDateTimeInstance(SHORT, MEDIUM, locale),
    "dddd d mmmm yyyy": "EEEE d MMMM yyyy",
    "mmmm yyyy, dddd": "LLLL yyyy, cccc",
    "ddd dd mmm yy": "EEE dd MMM yy",
    "mmm ddd": "LLL ccc",
    "yyyy-mm-dd hh-nn-ss": "yyyy-MM-dd HH-mm-ss",
    "h-m-s AMPM": "h-m-s a",
    "y q w": "D Q e",
    "ww - yyyy": "w - YYYY",
}
MOMENTS = [
    (1900, 1, 1), (1582, 10, 10), (1, 1, 1), (9999, 12, 31, 23, 59, 59), (2020, 2, 29, 12),
    (2020, 12, 31, 15, 4, 5), (2021, 1, 1, 0, 30, 1), (2000, 2, 29, 11, 59, 59),
]  # fmt: skip
UNIX_EPOCH = datetime.datetime(1970, 1, 1)
GREGORIAN_SINCE_EVER = -8.64e15  # milliseconds; the earliest moment of ICU


def pattern_of(icu_format, locale):
    return icu_format if isinstance(icu_format, str) else icu_format(locale).toPattern()


def render(pattern, locale, moment):
    formatter = icu.SimpleDateFormat(pattern, locale)
    calendar = icu.GregorianCalendar(icu.TimeZone.getGMT(), locale)
    calendar.setGregorianChange(GREGORIAN_SINCE_EVER)
    formatter.setCalendar(calendar)
    return formatter.format((moment - UNIX_EPOCH).total_seconds())


def print_rows(identifier, name, formats, moments):
    locale = icu.Locale(name + "@calendar=gregorian")
    for ours, icu_format in formats.items():
        for moment in moments:
            is_date = ours == "c" and moment.time() == datetime.time()
            pattern = pattern_of(FORMATS["ddddd"] if is_date else icu_format, locale)
            print(identifier, ours, moment.isoformat(" "), render(pattern, locale, moment), sep="|")


def main():
    print(f"PyICU, ICU {icu.ICU_VERSION}, make_date_formats.py: SimpleDateFormat(pattern, locale with calendar=gregorian) "
          "in GMT, Gregorian since ever; locale|format|moment|text")
    for identifier, name in LOCALES.items():
        print_rows(identifier, name, FORMATS, [datetime.datetime(*fields) for fields in MOMENTS])
    # Where the day has more than two parts: every hour, sharp.
    hours = [datetime.datetime(2020, 12, 31, hour) for hour in range(24)]
    for identifier, name in ((1028, "zh_TW"), (3076, "zh_HK")):
        print_rows(identifier, name, {"ttttt": FORMATS["ttttt"]}, hours)


if __name__ == "__main__":
    main()
