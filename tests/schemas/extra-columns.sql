-- Columns that Tamsel does not know, with defaults, and the known ones in another order.
CREATE TABLE Tb_ProductInfoV2 (
    SuiteID TEXT,
    Installed INTEGER NOT NULL DEFAULT 1,
    LocaleInfo TEXT,
    AppPath TEXT,
    PCDEntryName TEXT,
    ProdVersion TEXT,
    FamilyName TEXT,
    DisplayName TEXT,
    ProdName TEXT,
    ProdID INTEGER PRIMARY KEY
);
CREATE TABLE Tb_XManConfig (
    KeyValue TEXT,
    Origin TEXT NOT NULL DEFAULT 'vendor',
    KeyName TEXT,
    ProdID INTEGER,
    PRIMARY KEY (ProdID, KeyName)
);
