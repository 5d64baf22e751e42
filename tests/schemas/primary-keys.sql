-- The tables that Tamsel writes, each with a primary key: a row replaces its predecessor.
CREATE TABLE Tb_ProductInfoV2 (
    ProdID INTEGER PRIMARY KEY,
    ProdName TEXT,
    DisplayName TEXT,
    FamilyName TEXT,
    ProdVersion TEXT,
    PCDEntryName TEXT,
    AppPath TEXT,
    LocaleInfo TEXT,
    SuiteID INTEGER
);
CREATE TABLE Tb_XManConfig (
    ProdID INTEGER,
    KeyName TEXT,
    KeyValue TEXT,
    PRIMARY KEY (ProdID, KeyName)
);
