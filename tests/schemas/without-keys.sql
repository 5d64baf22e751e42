-- No key at all: nothing conflicts, and each registration adds its rows.
CREATE TABLE Tb_ProductInfoV2 (
    ProdID TEXT,
    ProdName TEXT,
    DisplayName TEXT,
    FamilyName TEXT,
    ProdVersion TEXT,
    PCDEntryName TEXT,
    AppPath TEXT,
    LocaleInfo TEXT,
    SuiteID TEXT
);
CREATE TABLE Tb_XManConfig (ProdID TEXT, KeyName TEXT, KeyValue TEXT);
