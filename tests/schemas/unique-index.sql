-- The same with unique indexes; the numbers are text.
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
CREATE UNIQUE INDEX Ix_ProductInfo ON Tb_ProductInfoV2 (ProdID);
CREATE TABLE Tb_XManConfig (ProdID TEXT, KeyName TEXT, KeyValue TEXT);
CREATE UNIQUE INDEX Ix_XManConfig ON Tb_XManConfig (ProdID, KeyName);
